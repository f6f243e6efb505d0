#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// An open file of Windows.
class Win32OpenFile : public OpenFile {
  public:
    static Result<std::unique_ptr<OpenFile>> Open(TextView path, FileMode mode);
    ~Win32OpenFile() override;

    Result<std::uint64_t> GetFileSize() override;
    Result<std::size_t> ReadFile(std::uint64_t offset, std::span<std::uint8_t> buffer) override;
    Status WriteFile(std::span<const std::uint8_t> bytes) override;
    Status FlushFileBuffers() override;

  private:
    explicit Win32OpenFile(void* file) : file_(file) {}

    void* file_;  // a HANDLE, always open
};

}  // namespace bkfd
