#include "platform/win32/Win32SystemFacts.h"

#include <algorithm>

#include <windows.h>

#include <optional>

#include "platform/win32/NativeStatus.h"
#include "platform/win32/NativeTime.h"
#include "win32/DynamicCall.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

template <class Info>
WindowsVersion VersionFrom(const Info& info, Text servicePack) {
    WindowsVersion version;
    version.major = static_cast<std::int32_t>(info.dwMajorVersion);
    version.minor = static_cast<std::int32_t>(info.dwMinorVersion);
    version.build = static_cast<std::int32_t>(info.dwBuildNumber);
    version.platformId = static_cast<std::int32_t>(info.dwPlatformId);
    version.servicePack = std::move(servicePack);
    return version;
}

/// Nothing for a variable that isn't there; one that is set may be empty.
std::optional<Text> EnvironmentVariable(TextView name) {
    if (name.empty()) return std::nullopt;
    const Text wideName(name);
    const std::string ansiName = HasWideCalls() ? std::string() : ToAnsi(name);
    ::SetLastError(ERROR_SUCCESS);
    Text value = ReadText(
        [&](wchar_t* buffer, DWORD size) {
            return ::GetEnvironmentVariableW(Wide(wideName), buffer, size);
        },
        [&](char* buffer, DWORD size) {
            return ::GetEnvironmentVariableA(ansiName.c_str(), buffer, size);
        });
    if (value.empty() && ::GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
    return value;
}

}  // namespace

std::uint32_t Win32SystemFacts::GetVersion() {
    return ::GetVersion();
}

Result<WindowsVersion> Win32SystemFacts::GetVersionExW() {
    if (HasWideCalls()) {
        OSVERSIONINFOW info = {};
        info.dwOSVersionInfoSize = sizeof(info);
        if (::GetVersionExW(&info) == 0) return LastFailure();
        return VersionFrom(info, Text(reinterpret_cast<const char16_t*>(info.szCSDVersion)));
    }
    OSVERSIONINFOA info = {};
    info.dwOSVersionInfoSize = sizeof(info);
    if (::GetVersionExA(&info) == 0) return LastFailure();
    return VersionFrom(info, FromAnsi(info.szCSDVersion));
}

std::uint32_t Win32SystemFacts::GetTickCount() {
    return ::GetTickCount();
}

Date Win32SystemFacts::GetLocalTime() {
    SYSTEMTIME now = {};
    ::GetLocalTime(&now);
    return ToDate(now);
}

void Win32SystemFacts::Sleep(std::uint32_t milliseconds) {
    ::Sleep(milliseconds);
}

// By hand, so that a percent sign that begins no name is passed over alike on every system.
Text Win32SystemFacts::ExpandEnvironmentStringsW(TextView text) {
    Text expanded;
    while (!text.empty()) {
        const std::size_t end = text.front() == u'%' ? text.find(u'%', 1) : TextView::npos;
        std::optional<Text> value;
        if (end != TextView::npos) value = EnvironmentVariable(text.substr(1, end - 1));
        expanded += value ? *value : Text(1, text.front());
        text.remove_prefix(value ? end + 1 : 1);
    }
    return expanded;
}

Text Win32SystemFacts::GetTempPathW() {
    return ReadText([](wchar_t* buffer, DWORD size) { return ::GetTempPathW(size, buffer); },
                    [](char* buffer, DWORD size) { return ::GetTempPathA(size, buffer); });
}

Result<Text> Win32SystemFacts::GetSystemWow64DirectoryW() {
    static const DynamicCall<decltype(&::GetSystemWow64DirectoryW)> call(
        "kernel32.dll", "GetSystemWow64DirectoryW");
    constexpr Status kOneFolder{SystemError::CallNotImplemented};
    if (!call.IsThere() || !HasWideCalls()) return kOneFolder;
    const auto read = [](wchar_t* buffer, DWORD size) { return call(buffer, size); };
    Text folder = ReadText(read, [](char*, DWORD) { return DWORD{0}; });
    if (folder.empty()) return kOneFolder;
    return folder;
}

bool Win32SystemFacts::IsWow64Process() {
    static const DynamicCall<decltype(&::IsWow64Process)> call("kernel32.dll", "IsWow64Process");
    BOOL isWow64 = FALSE;
    return call.IsThere() && call(::GetCurrentProcess(), &isWow64) != 0 && isWow64 != FALSE;
}

// By name since Windows XP; earlier systems are taken to give all rights.
bool Win32SystemFacts::IsUserAnAdmin() {
    static const DynamicCall<BOOL(WINAPI*)()> call("shell32.dll", "IsUserAnAdmin");
    return !HasWideCalls() || !call.IsThere() || call() != FALSE;
}

Text Win32SystemFacts::GetModuleFileNameW() {
    return ReadText(
        [](wchar_t* buffer, DWORD size) { return ::GetModuleFileNameW(nullptr, buffer, size); },
        [](char* buffer, DWORD size) { return ::GetModuleFileNameA(nullptr, buffer, size); });
}

Text Win32SystemFacts::FormatMessageW(std::uint32_t code) {
    // A message can't ask for a larger buffer; the longest of the system's are far below this.
    constexpr DWORD kSize = 4096;
    constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    if (HasWideCalls()) {
        Text buffer(kSize, u'\0');
        const DWORD length =
            ::FormatMessageW(kFlags, nullptr, code, 0, Wide(buffer.data()), kSize, nullptr);
        return buffer.substr(0, length);
    }
    std::string buffer(kSize, '\0');
    const DWORD length = ::FormatMessageA(kFlags, nullptr, code, 0, buffer.data(), kSize, nullptr);
    return FromAnsi(buffer.substr(0, length));
}

Text Win32SystemFacts::GetLocaleInfoW(LocaleFact fact) {
    constexpr int kSize = 80;  // the longest name that the system gives
    if (HasWideCalls()) {
        Text buffer(kSize, u'\0');
        const int size = ::GetLocaleInfoW(LOCALE_USER_DEFAULT, fact, Wide(buffer.data()), kSize);
        return buffer.substr(0, static_cast<std::size_t>(std::max(size - 1, 0)));
    }
    std::string buffer(kSize, '\0');
    const int size = ::GetLocaleInfoA(LOCALE_USER_DEFAULT, fact, buffer.data(), kSize);
    return FromAnsi(buffer.substr(0, static_cast<std::size_t>(std::max(size - 1, 0))));
}

std::string Win32SystemFacts::WideCharToMultiByte(TextView text) {
    return ToAnsi(text);
}

Text Win32SystemFacts::MultiByteToWideChar(std::string_view bytes) {
    return FromAnsi(bytes);
}

}  // namespace bkfd
