#include "platform/win32/Win32OpenFile.h"

#include <windows.h>

#include <algorithm>

#include "platform/win32/NativeStatus.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

struct Opening {
    DWORD access;
    DWORD share;
    DWORD disposition;
};

Opening OpeningFor(FileMode mode) {
    // The Windows 95 family refuses the share flag for deleting.
    const DWORD shareAll =
        FILE_SHARE_READ | FILE_SHARE_WRITE | (HasWideCalls() ? DWORD{FILE_SHARE_DELETE} : DWORD{0});
    switch (mode) {
        case FileMode::Read:
            return {GENERIC_READ, shareAll, OPEN_EXISTING};
        case FileMode::CreateNew:
            return {GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, CREATE_NEW};
        case FileMode::Append:
            return {GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS};
    }
    return {};
}

/// SetFilePointerEx, which older systems lack. The answer's low half may be the failure's value.
Status Seek(HANDLE file, std::uint64_t offset, DWORD from) {
    auto high = static_cast<LONG>(offset >> 32);
    ::SetLastError(ERROR_SUCCESS);
    const DWORD low = ::SetFilePointer(file, static_cast<LONG>(offset & 0xFFFFFFFF), &high, from);
    if (low == INVALID_SET_FILE_POINTER && ::GetLastError() != ERROR_SUCCESS) return LastFailure();
    return {};
}

constexpr std::size_t kLargestTransfer = 1u << 30;

}  // namespace

Result<std::unique_ptr<OpenFile>> Win32OpenFile::Open(TextView path, FileMode mode) {
    const Opening opening = OpeningFor(mode);
    OwnedFile file(CallWithText(
        path,
        [&](const wchar_t* name) {
            return ::CreateFileW(name, opening.access, opening.share, nullptr, opening.disposition,
                                 FILE_ATTRIBUTE_NORMAL, nullptr);
        },
        [&](const char* name) {
            return ::CreateFileA(name, opening.access, opening.share, nullptr, opening.disposition,
                                 FILE_ATTRIBUTE_NORMAL, nullptr);
        }));
    if (!file.IsThere()) return LastFailure();
    return std::unique_ptr<OpenFile>(new Win32OpenFile(std::move(file)));
}

Result<std::uint64_t> Win32OpenFile::GetFileSize() {
    DWORD high = 0;
    ::SetLastError(ERROR_SUCCESS);
    const DWORD low = ::GetFileSize(file_.Get(), &high);
    if (low == INVALID_FILE_SIZE && ::GetLastError() != ERROR_SUCCESS) return LastFailure();
    return std::uint64_t{high} << 32 | low;
}

Result<std::size_t> Win32OpenFile::ReadFile(std::uint64_t offset, std::span<std::uint8_t> buffer) {
    const Status sought = Seek(file_.Get(), offset, FILE_BEGIN);
    if (!sought.IsOk()) return sought;
    std::size_t done = 0;
    while (done < buffer.size()) {
        const auto wanted = static_cast<DWORD>(std::min(buffer.size() - done, kLargestTransfer));
        DWORD got = 0;
        if (::ReadFile(file_.Get(), buffer.data() + done, wanted, &got, nullptr) == 0) {
            return LastFailure();
        }
        if (got == 0) break;
        done += got;
    }
    return done;
}

Status Win32OpenFile::WriteFile(std::span<const std::uint8_t> bytes) {
    const Status sought = Seek(file_.Get(), 0, FILE_END);
    if (!sought.IsOk()) return sought;
    while (!bytes.empty()) {
        const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kLargestTransfer));
        DWORD written = 0;
        if (::WriteFile(file_.Get(), bytes.data(), wanted, &written, nullptr) == 0) {
            return LastFailure();
        }
        if (written == 0) return {SystemError::DiskFull};
        bytes = bytes.subspan(written);
    }
    return {};
}

Status Win32OpenFile::FlushFileBuffers() {
    return StatusOf(::FlushFileBuffers(file_.Get()));
}

}  // namespace bkfd
