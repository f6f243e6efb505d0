#include "cli/HostSha256.h"

#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "base/Text.h"
#include "identity/Sha256Digest.h"
#include "platform/files/HostFiles.h"

namespace bkfd {

std::optional<std::string> HostFileSha256(const std::string& path) {
    const HostFile file(OpenUntouched(path, 0));
    if (!file.IsOpen()) return std::nullopt;
    Sha256Digest digest;
    Bytes piece(std::size_t{1} << 18);
    for (;;) {
        const ssize_t count = read(file.Get(), piece.data(), piece.size());
        if (count == 0) break;
        if (count > 0) {
            digest.Add(std::span(piece).first(static_cast<std::size_t>(count)));
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
    std::string hash = digest.Finish();
    if (hash.empty()) return std::nullopt;
    return hash;
}

std::string TextSha256(std::string_view text) {
    Sha256Digest digest;
    digest.Add({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    std::string hash = digest.Finish();
    if (hash.empty()) throw std::runtime_error("no SHA-256 can be made");
    return hash;
}

}  // namespace bkfd
