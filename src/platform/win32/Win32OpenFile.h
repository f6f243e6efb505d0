#pragma once

#include "platform/Machine.h"
#include "win32/Handles.h"

namespace bkfd {

/// An open file of Windows.
class Win32OpenFile : public OpenFile {
  public:
    static Result<std::unique_ptr<OpenFile>> Open(TextView path, FileMode mode);

    Result<std::uint64_t> GetFileSize() override;
    Result<std::size_t> ReadFile(std::uint64_t offset, std::span<std::uint8_t> buffer) override;
    Status WriteFile(std::span<const std::uint8_t> bytes) override;
    Status FlushFileBuffers() override;

  private:
    explicit Win32OpenFile(OwnedFile file) : file_(std::move(file)) {}

    OwnedFile file_;  // always open
};

}  // namespace bkfd
