#include "cli/FileSha256.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "base/Hex.h"
#include "platform/Machine.h"
#include "platform/files/HostFiles.h"

namespace bkfd {
namespace {

using Buffer = std::span<std::uint8_t>;
/// Fills the buffer with what follows; the count of bytes, 0 at the end, nothing on failure.
using ReadNext = std::function<std::optional<std::size_t>(Buffer)>;

std::optional<std::string> Digest(const ReadNext& read) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> digest(EVP_MD_CTX_new(),
                                                                         EVP_MD_CTX_free);
    if (digest == nullptr || EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) != 1) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> buffer(std::size_t{1} << 18);
    for (;;) {
        const auto count = read(buffer);
        if (!count) return std::nullopt;
        if (*count == 0) break;
        if (EVP_DigestUpdate(digest.get(), buffer.data(), *count) != 1) return std::nullopt;
    }
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> hash;
    unsigned length = 0;
    if (EVP_DigestFinal_ex(digest.get(), hash.data(), &length) != 1) return std::nullopt;
    std::string text;
    AppendHex(text, {hash.data(), length});
    return text;
}

}  // namespace

std::optional<std::string> FileSha256(const Text& path) {
    const auto opened = TheMachine().FileSystem().CreateFileW(path, FileMode::Read);
    if (!opened.IsOk()) return std::nullopt;
    return Digest([&, offset = std::uint64_t{0}](Buffer buffer) mutable {
        const auto read = opened.value->ReadFile(offset, buffer);
        offset += read.value;
        return read.IsOk() ? std::optional<std::size_t>(read.value) : std::nullopt;
    });
}

std::optional<std::string> HostFileSha256(const std::string& path) {
    const HostFile file(OpenUntouched(path, 0));
    if (!file.IsOpen()) return std::nullopt;
    return Digest([&](Buffer buffer) -> std::optional<std::size_t> {
        ssize_t count = 0;
        do {
            count = read(file.Get(), buffer.data(), buffer.size());
        } while (count < 0 && errno == EINTR);
        if (count < 0) return std::nullopt;
        return static_cast<std::size_t>(count);
    });
}

std::string TextSha256(std::string_view text) {
    auto hash = Digest([&](Buffer buffer) -> std::optional<std::size_t> {
        const std::size_t count = text.copy(reinterpret_cast<char*>(buffer.data()), buffer.size());
        text.remove_prefix(count);
        return count;
    });
    if (!hash) throw std::runtime_error("no SHA-256 can be made");
    return *hash;
}

}  // namespace bkfd
