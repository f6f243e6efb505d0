#include "platform/win32/Win32Restart.h"

#include <windows.h>

#include "platform/win32/NativeStatus.h"
#include "win32/DynamicCall.h"

namespace bkfd {

Result<Handle> Win32Restart::OpenProcessToken(std::uint32_t access) {
    const DynamicCall<decltype(&::OpenProcessToken)> call("advapi32.dll", "OpenProcessToken");
    if (!call.IsThere()) return NoSuchCall();
    HANDLE token = nullptr;
    if (call(::GetCurrentProcess(), access, &token) == 0) return LastFailure();
    return reinterpret_cast<Handle>(token);
}

Result<std::uint64_t> Win32Restart::LookupPrivilegeValueA(std::string_view name) {
    const DynamicCall<decltype(&::LookupPrivilegeValueA)> call("advapi32.dll",
                                                               "LookupPrivilegeValueA");
    if (!call.IsThere()) return NoSuchCall();
    LUID luid = {};
    if (call(nullptr, std::string(name).c_str(), &luid) == 0) return LastFailure();
    return std::uint64_t{static_cast<std::uint32_t>(luid.HighPart)} << 32 | luid.LowPart;
}

Status Win32Restart::AdjustTokenPrivileges(Handle token, std::uint64_t luid,
                                           std::uint32_t attributes) {
    const DynamicCall<decltype(&::AdjustTokenPrivileges)> call("advapi32.dll",
                                                               "AdjustTokenPrivileges");
    if (!call.IsThere()) return NoSuchCall();
    TOKEN_PRIVILEGES wanted = {};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Luid.LowPart = static_cast<DWORD>(luid & 0xFFFFFFFF);
    wanted.Privileges[0].Luid.HighPart = static_cast<LONG>(luid >> 32);
    wanted.Privileges[0].Attributes = attributes;
    TOKEN_PRIVILEGES previous = {};
    DWORD size = sizeof(previous);
    ::SetLastError(ERROR_SUCCESS);
    if (call(reinterpret_cast<HANDLE>(token), FALSE, &wanted, DWORD{sizeof(previous)}, &previous,
             &size) == 0) {
        return LastFailure();
    }
    // The call succeeds even when the account doesn't hold the privilege, and tells it here.
    return ::GetLastError() == ERROR_NOT_ALL_ASSIGNED ? Status{ERROR_PRIVILEGE_NOT_HELD} : Status{};
}

Status Win32Restart::ExitWindowsEx(std::uint32_t flags, std::uint32_t reason) {
    return StatusOf(::ExitWindowsEx(flags, reason));
}

}  // namespace bkfd
