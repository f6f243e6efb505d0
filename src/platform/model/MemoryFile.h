#pragma once

#include <functional>
#include <memory>

#include "platform/Machine.h"

namespace bkfd {

/// A file's content in memory.
struct MemoryFile {
    Bytes bytes;
    Date lastWrite = 0;
};

/// An open file; it goes on working after its name has moved or gone.
class MemoryFileHandle final : public OpenFile {
  public:
    using Clock = std::function<Date()>;

    MemoryFileHandle(std::shared_ptr<MemoryFile> file, bool mayWrite, Clock clock)
        : file_(std::move(file)), mayWrite_(mayWrite), clock_(std::move(clock)) {}

    Result<std::uint64_t> GetFileSize() override { return std::uint64_t{file_->bytes.size()}; }
    Result<std::size_t> ReadFile(std::uint64_t offset, std::span<std::uint8_t> buffer) override;
    Status WriteFile(std::span<const std::uint8_t> bytes) override;
    Status FlushFileBuffers() override {
        return mayWrite_ ? Status{} : Status{SystemError::AccessDenied};
    }

  private:
    std::shared_ptr<MemoryFile> file_;
    bool mayWrite_;
    Clock clock_;
};

}  // namespace bkfd
