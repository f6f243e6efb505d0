#include "identity/FileSha256.h"

#include "identity/Sha256Digest.h"
#include "platform/Machine.h"

namespace bkfd {

std::optional<std::string> FileSha256(const Text& path) {
    constexpr std::size_t kPiece = std::size_t{1} << 18;
    const auto opened = TheMachine().FileSystem().CreateFileW(path, FileMode::Read);
    if (!opened.IsOk()) return std::nullopt;
    Sha256Digest digest;
    Bytes piece(kPiece);
    for (std::uint64_t offset = 0;;) {
        const auto read = opened.value->ReadFile(offset, piece);
        if (!read.IsOk()) return std::nullopt;
        if (read.value == 0) break;
        digest.Add(std::span(piece).first(read.value));
        offset += read.value;
    }
    std::string hash = digest.Finish();
    if (hash.empty()) return std::nullopt;
    return hash;
}

}  // namespace bkfd
