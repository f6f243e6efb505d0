#include "platform/win32/Win32Files.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>

#include "platform/win32/NativeStatus.h"
#include "platform/win32/NativeTime.h"
#include "platform/win32/Win32OpenFile.h"
#include "win32/DynamicCall.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

/// Hands the result of the wide or the ANSI call to a buffer of wide text as the wide call would:
/// its length if it fits with its NUL, else the size that it needs.
std::uint32_t Deliver(TextView text, std::span<char16_t> buffer) {
    const auto length = static_cast<std::uint32_t>(text.size());
    if (text.size() >= buffer.size()) return length + 1;
    std::copy(text.begin(), text.end(), buffer.begin());
    buffer[text.size()] = u'\0';
    return length;
}

template <class Found>
FindData Describe(const Found& found, Text name) {
    FindData data;
    data.attributes = found.dwFileAttributes;
    data.sizeHigh = found.nFileSizeHigh;
    data.sizeLow = found.nFileSizeLow;
    data.lastWrite = ToLocalDate(found.ftLastWriteTime);
    data.name = std::move(name);
    return data;
}

FindData Describe(const WIN32_FIND_DATAA& found) {
    return Describe(found, FromAnsi(found.cFileName));
}

FindData Describe(const WIN32_FIND_DATAW& found) {
    return Describe(found, Text(FromWide(found.cFileName, std::wcslen(found.cFileName))));
}

}  // namespace

Result<std::uint32_t> Win32Files::GetFileAttributesW(TextView path) {
    const DWORD attributes = CallWithText(path, ::GetFileAttributesW, ::GetFileAttributesA);
    if (attributes == INVALID_FILE_ATTRIBUTES) return LastFailure();
    return attributes;
}

Status Win32Files::SetFileAttributesW(TextView path, std::uint32_t attributes) {
    return StatusOf(CallWithText(
        path, [=](const wchar_t* name) { return ::SetFileAttributesW(name, attributes); },
        [=](const char* name) { return ::SetFileAttributesA(name, attributes); }));
}

Status Win32Files::SetFileAttributesA(std::string_view path, std::uint32_t attributes) {
    return StatusOf(::SetFileAttributesA(std::string(path).c_str(), attributes));
}

Status Win32Files::DeleteFileW(TextView path) {
    return StatusOf(CallWithText(path, ::DeleteFileW, ::DeleteFileA));
}

Status Win32Files::DeleteFileA(std::string_view path) {
    return StatusOf(::DeleteFileA(std::string(path).c_str()));
}

Status Win32Files::MoveFileW(TextView source, TextView target) {
    return StatusOf(CallWithTexts(source, target, ::MoveFileW, ::MoveFileA));
}

Status Win32Files::MoveFileA(std::string_view source, std::string_view target) {
    return StatusOf(::MoveFileA(std::string(source).c_str(), std::string(target).c_str()));
}

Status Win32Files::MoveFileExW(TextView source, TextView target) {
    static const DynamicCall<decltype(&::MoveFileExW)> moveFileEx("kernel32.dll", "MoveFileExW");
    if (HasWideCalls() && moveFileEx.IsThere()) {
        return StatusOf(moveFileEx(Wide(Text(source)), Wide(Text(target)),
                                   DWORD{MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH}));
    }
    // Without the source nothing may be lost, so the target goes only when there is one.
    const Result<std::uint32_t> there = GetFileAttributesW(source);
    if (!there.IsOk()) return there;
    const Status deleted = DeleteFileW(target);
    if (!deleted.IsOk() && !deleted.IsNotThere()) return deleted;
    return MoveFileW(source, target);
}

Status Win32Files::CreateDirectoryW(TextView path) {
    return StatusOf(CallWithText(
        path, [](const wchar_t* name) { return ::CreateDirectoryW(name, nullptr); },
        [](const char* name) { return ::CreateDirectoryA(name, nullptr); }));
}

Result<std::unique_ptr<OpenFile>> Win32Files::CreateFileW(TextView path, FileMode mode) {
    return Win32OpenFile::Open(path, mode);
}

Handle Win32Files::FindFirstFileA(std::string_view path, FindData& data) {
    WIN32_FIND_DATAA found = {};
    const HANDLE search = ::FindFirstFileA(std::string(path).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return kInvalidHandle;
    data = Describe(found);
    return reinterpret_cast<Handle>(search);
}

Handle Win32Files::FindFirstFileW(TextView path, FindData& data) {
    if (!HasWideCalls()) return FindFirstFileA(ToAnsi(path), data);
    WIN32_FIND_DATAW found = {};
    const HANDLE search = ::FindFirstFileW(Wide(Text(path)), &found);
    if (search == INVALID_HANDLE_VALUE) return kInvalidHandle;
    data = Describe(found);
    return reinterpret_cast<Handle>(search);
}

Status Win32Files::FindNextFileW(Handle search, FindData& data) {
    if (HasWideCalls()) {
        WIN32_FIND_DATAW found = {};
        if (!::FindNextFileW(reinterpret_cast<HANDLE>(search), &found)) return LastFailure();
        data = Describe(found);
        return {};
    }
    WIN32_FIND_DATAA found = {};
    if (!::FindNextFileA(reinterpret_cast<HANDLE>(search), &found)) return LastFailure();
    data = Describe(found);
    return {};
}

Status Win32Files::SetCurrentDirectoryW(TextView path) {
    return StatusOf(CallWithText(path, ::SetCurrentDirectoryW, ::SetCurrentDirectoryA));
}

Result<Text> Win32Files::GetVolumeInformationW(TextView root) {
    constexpr DWORD kLongestLabel = MAX_PATH + 1;
    wchar_t wide[kLongestLabel] = {};
    char ansi[kLongestLabel] = {};
    // A null root is the current folder's.
    const bool told =
        CallWithText(
            root,
            [&](const wchar_t* name) {
                return ::GetVolumeInformationW(*name ? name : nullptr, wide, kLongestLabel, nullptr,
                                               nullptr, nullptr, nullptr, 0);
            },
            [&](const char* name) {
                return ::GetVolumeInformationA(*name ? name : nullptr, ansi, kLongestLabel, nullptr,
                                               nullptr, nullptr, nullptr, 0);
            }) != 0;
    if (!told) return LastFailure();
    return HasWideCalls() ? Text(FromWide(wide, std::wcslen(wide))) : FromAnsi(ansi);
}

Status Win32Files::FindClose(Handle search) {
    // The call itself would fault on a number that never was a search.
    if (search == 0 || search == kInvalidHandle) return {SystemError::InvalidHandle};
    return StatusOf(::FindClose(reinterpret_cast<HANDLE>(search)));
}

SearchPathResult Win32Files::SearchPathW(TextView name, std::span<char16_t> buffer) {
    if (!HasWideCalls()) {
        std::string ansi(buffer.size(), '\0');
        const SearchPathResult found = SearchPathA(ToAnsi(name), ansi);
        if (found.count == 0 || found.count >= ansi.size()) return found;
        const Text full = FromAnsi(ansi.substr(0, found.count));
        SearchPathResult result;
        result.count = Deliver(full, buffer);
        const std::size_t slash = full.rfind(u'\\');
        if (found.filePart != 0 && slash != Text::npos && result.count < buffer.size()) {
            result.filePart = reinterpret_cast<std::intptr_t>(buffer.data() + slash + 1);
        }
        return result;
    }
    wchar_t* filePart = nullptr;
    SearchPathResult result;
    result.count = ::SearchPathW(nullptr, Wide(Text(name)), nullptr,
                                 static_cast<DWORD>(buffer.size()), Wide(buffer.data()), &filePart);
    result.filePart = reinterpret_cast<std::intptr_t>(filePart);
    return result;
}

SearchPathResult Win32Files::SearchPathA(std::string_view name, std::span<char> buffer) {
    char* filePart = nullptr;
    SearchPathResult result;
    result.count = ::SearchPathA(nullptr, std::string(name).c_str(), nullptr,
                                 static_cast<DWORD>(buffer.size()), buffer.data(), &filePart);
    result.filePart = reinterpret_cast<std::intptr_t>(filePart);
    return result;
}

std::uint32_t Win32Files::GetLongPathNameW(TextView path, std::span<char16_t> buffer) {
    static const DynamicCall<decltype(&::GetLongPathNameW)> wideCall("kernel32.dll",
                                                                     "GetLongPathNameW");
    static const DynamicCall<decltype(&::GetLongPathNameA)> ansiCall("kernel32.dll",
                                                                     "GetLongPathNameA");
    const auto size = static_cast<DWORD>(buffer.size());
    if (HasWideCalls()) {
        return wideCall.IsThere() ? wideCall(Wide(Text(path)), Wide(buffer.data()), size) : 0;
    }
    if (!ansiCall.IsThere()) return 0;
    std::string ansi(buffer.size(), '\0');
    const DWORD length = ansiCall(ToAnsi(path).c_str(), ansi.data(), size);
    if (length == 0 || length >= size) return length;
    return Deliver(FromAnsi(ansi.substr(0, length)), buffer);
}

}  // namespace bkfd
