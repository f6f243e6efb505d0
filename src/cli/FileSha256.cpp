#include "cli/FileSha256.h"

#include <openssl/evp.h>

#include <array>
#include <memory>
#include <vector>

#include "base/Hex.h"
#include "platform/Machine.h"

namespace bkfd {
namespace {

using Digest = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

/// False when the file can't be read to its end.
bool AddContent(OpenFile& file, EVP_MD_CTX* digest) {
    std::vector<std::uint8_t> buffer(std::size_t{1} << 18);
    for (std::uint64_t offset = 0;;) {
        const auto read = file.ReadFile(offset, buffer);
        if (!read.IsOk()) return false;
        if (read.value == 0) return true;
        if (EVP_DigestUpdate(digest, buffer.data(), read.value) != 1) return false;
        offset += read.value;
    }
}

}  // namespace

std::optional<std::string> FileSha256(const Text& path) {
    const auto opened = TheMachine().FileSystem().CreateFileW(path, FileMode::Read);
    if (!opened.IsOk()) return std::nullopt;
    const Digest digest(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> hash;
    unsigned length = 0;
    const bool isDone = digest != nullptr &&
                        EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) == 1 &&
                        AddContent(*opened.value, digest.get()) &&
                        EVP_DigestFinal_ex(digest.get(), hash.data(), &length) == 1;
    if (!isDone) return std::nullopt;
    std::string text;
    AppendHex(text, {hash.data(), length});
    return text;
}

}  // namespace bkfd
