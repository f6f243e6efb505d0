#include "platform/model/MemoryFile.h"

#include <algorithm>

namespace bkfd {

Result<std::size_t> MemoryFileHandle::ReadFile(std::uint64_t offset,
                                               std::span<std::uint8_t> buffer) {
    const Bytes& bytes = file_->bytes;
    if (offset >= bytes.size()) return std::size_t{0};
    const auto start = static_cast<std::size_t>(offset);
    const std::size_t count = std::min(buffer.size(), bytes.size() - start);
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(start), count, buffer.begin());
    return count;
}

Status MemoryFileHandle::WriteFile(std::span<const std::uint8_t> bytes) {
    if (!mayWrite_) return {SystemError::AccessDenied};
    file_->bytes.insert(file_->bytes.end(), bytes.begin(), bytes.end());
    file_->lastWrite = clock_();
    return {};
}

}  // namespace bkfd
