#include "platform/forward/Through.h"

namespace bkfd {

using forward::Through;

namespace {

class ForwardOpenFile final : public OpenFile {
  public:
    ForwardOpenFile(std::unique_ptr<OpenFile> target, CallGate& gate)
        : target_(std::move(target)), gate_(gate) {}

    Result<std::uint64_t> GetFileSize() override {
        return Through<Result<std::uint64_t>>(gate_, "GetFileSize",
                                              [&] { return target_->GetFileSize(); });
    }
    Result<std::size_t> ReadFile(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        return Through<Result<std::size_t>>(gate_, "ReadFile",
                                            [&] { return target_->ReadFile(offset, buffer); });
    }
    Status WriteFile(std::span<const std::uint8_t> bytes) override {
        return Through<Status>(gate_, "WriteFile", [&] { return target_->WriteFile(bytes); });
    }
    Status FlushFileBuffers() override {
        return Through<Status>(gate_, "FlushFileBuffers",
                               [&] { return target_->FlushFileBuffers(); });
    }

  private:
    std::unique_ptr<OpenFile> target_;
    CallGate& gate_;
};

}  // namespace

Result<std::unique_ptr<OpenFile>> ForwardFiles::CreateFileW(TextView path, FileMode mode) {
    auto opened = Through<Result<std::unique_ptr<OpenFile>>>(
        gate_, "CreateFileW", [&] { return target_.CreateFileW(path, mode); });
    if (!opened.IsOk()) return opened;
    return std::unique_ptr<OpenFile>(
        std::make_unique<ForwardOpenFile>(std::move(opened.value), gate_));
}

Result<std::uint32_t> ForwardFiles::GetFileAttributesW(TextView path) {
    return Through<Result<std::uint32_t>>(gate_, "GetFileAttributesW",
                                          [&] { return target_.GetFileAttributesW(path); });
}

Status ForwardFiles::SetFileAttributesW(TextView path, std::uint32_t attributes) {
    return Through<Status>(gate_, "SetFileAttributesW",
                           [&] { return target_.SetFileAttributesW(path, attributes); });
}

Status ForwardFiles::SetFileAttributesA(std::string_view path, std::uint32_t attributes) {
    return Through<Status>(gate_, "SetFileAttributesA",
                           [&] { return target_.SetFileAttributesA(path, attributes); });
}

Status ForwardFiles::DeleteFileW(TextView path) {
    return Through<Status>(gate_, "DeleteFileW", [&] { return target_.DeleteFileW(path); });
}

Status ForwardFiles::DeleteFileA(std::string_view path) {
    return Through<Status>(gate_, "DeleteFileA", [&] { return target_.DeleteFileA(path); });
}

Status ForwardFiles::MoveFileW(TextView source, TextView target) {
    return Through<Status>(gate_, "MoveFileW", [&] { return target_.MoveFileW(source, target); });
}

Status ForwardFiles::MoveFileA(std::string_view source, std::string_view target) {
    return Through<Status>(gate_, "MoveFileA", [&] { return target_.MoveFileA(source, target); });
}

Status ForwardFiles::MoveFileExW(TextView source, TextView target) {
    return Through<Status>(gate_, "MoveFileExW",
                           [&] { return target_.MoveFileExW(source, target); });
}

Status ForwardFiles::CreateDirectoryW(TextView path) {
    return Through<Status>(gate_, "CreateDirectoryW",
                           [&] { return target_.CreateDirectoryW(path); });
}

Handle ForwardFiles::FindFirstFileA(std::string_view path, FindData& data) {
    return Through<Handle>(gate_, "FindFirstFileA", kInvalidHandle,
                           [&] { return target_.FindFirstFileA(path, data); });
}

Handle ForwardFiles::FindFirstFileW(TextView path, FindData& data) {
    return Through<Handle>(gate_, "FindFirstFileW", kInvalidHandle,
                           [&] { return target_.FindFirstFileW(path, data); });
}

Status ForwardFiles::FindNextFileW(Handle search, FindData& data) {
    return Through<Status>(gate_, "FindNextFileW",
                           [&] { return target_.FindNextFileW(search, data); });
}

Status ForwardFiles::SetCurrentDirectoryW(TextView path) {
    return Through<Status>(gate_, "SetCurrentDirectoryW",
                           [&] { return target_.SetCurrentDirectoryW(path); });
}

Result<Text> ForwardFiles::GetVolumeInformationW(TextView root) {
    return Through<Result<Text>>(gate_, "GetVolumeInformationW",
                                 [&] { return target_.GetVolumeInformationW(root); });
}

SearchPathResult ForwardFiles::SearchPathW(TextView name, std::span<char16_t> buffer) {
    return Through<SearchPathResult>(gate_, "SearchPathW", {},
                                     [&] { return target_.SearchPathW(name, buffer); });
}

SearchPathResult ForwardFiles::SearchPathA(std::string_view name, std::span<char> buffer) {
    return Through<SearchPathResult>(gate_, "SearchPathA", {},
                                     [&] { return target_.SearchPathA(name, buffer); });
}

std::uint32_t ForwardFiles::GetLongPathNameW(TextView path, std::span<char16_t> buffer) {
    return Through<std::uint32_t>(gate_, "GetLongPathNameW", {},
                                  [&] { return target_.GetLongPathNameW(path, buffer); });
}

}  // namespace bkfd
