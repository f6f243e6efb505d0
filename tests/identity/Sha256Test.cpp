#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "base/Hex.h"
#include "base/Text.h"
#include "identity/PortableSha256.h"
#include "identity/Sha256Digest.h"

namespace bkfd {
namespace {

std::span<const std::uint8_t> BytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// In pieces of so many bytes.
std::string Portable(std::span<const std::uint8_t> bytes, std::size_t piece) {
    PortableSha256 digest;
    for (; !bytes.empty(); bytes = bytes.subspan(std::min(piece, bytes.size()))) {
        digest.Add(bytes.first(std::min(piece, bytes.size())));
    }
    std::string text;
    AppendHex(text, digest.Finish());
    return text;
}

// The examples of FIPS 180-2, and NIST's vectors of short messages.
TEST(Sha256, HasThePublishedValues) {
    const struct {
        std::string bytes;
        const char* hash;
    } rows[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {std::string(1'000'000, 'a'),
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
        {"\xD3", "28969cdfa74a12c82f3bad960b0b000aca2ac329deea5c2328ebc6f2ba9802c1"},
    };
    for (const auto& row : rows) EXPECT_EQ(Portable(BytesOf(row.bytes), 1000), row.hash);
}

// Every length around the ends of blocks, in pieces that don't fit them.
TEST(Sha256, AgreesWithTheSystemsLibrary) {
    std::string text;
    for (std::size_t length = 0; length < 300; ++length) {
        Sha256Digest digest;
        digest.Add(BytesOf(text));
        EXPECT_EQ(Portable(BytesOf(text), length % 67 + 1), digest.Finish()) << length;
        text += static_cast<char>(length * 37);
    }
}

}  // namespace
}  // namespace bkfd
