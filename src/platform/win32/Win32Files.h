#pragma once

#include "platform/Machine.h"

namespace bkfd {

class Win32Files : public Files {
  public:
    Result<std::uint32_t> GetFileAttributesW(TextView path) override;
    Status SetFileAttributesW(TextView path, std::uint32_t attributes) override;
    Status SetFileAttributesA(std::string_view path, std::uint32_t attributes) override;
    Status DeleteFileW(TextView path) override;
    Status DeleteFileA(std::string_view path) override;
    Status MoveFileW(TextView source, TextView target) override;
    Status MoveFileA(std::string_view source, std::string_view target) override;
    Status MoveFileExW(TextView source, TextView target) override;
    Status CreateDirectoryW(TextView path) override;
    Result<std::unique_ptr<OpenFile>> CreateFileW(TextView path, FileMode mode) override;
    Handle FindFirstFileA(std::string_view path, FindData& data) override;
    Handle FindFirstFileW(TextView path, FindData& data) override;
    Status FindNextFileW(Handle search, FindData& data) override;
    Status FindClose(Handle search) override;
    Status SetCurrentDirectoryW(TextView path) override;
    Result<Text> GetVolumeInformationW(TextView root) override;
    SearchPathResult SearchPathW(TextView name, std::span<char16_t> buffer) override;
    SearchPathResult SearchPathA(std::string_view name, std::span<char> buffer) override;
    std::uint32_t GetLongPathNameW(TextView path, std::span<char16_t> buffer) override;
};

}  // namespace bkfd
