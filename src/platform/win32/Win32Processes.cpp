#include "platform/win32/Win32Processes.h"

#include <windows.h>
// Behind windows.h.
#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstring>

#include "platform/win32/NativeStatus.h"
#include "win32/DynamicCall.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

constexpr std::uint32_t kModuleBytes = 4;  // what the seam counts for a module

/// Not every psapi.dll has the call that lists the modules of 32-bit processes for a 64-bit caller.
using EnumModulesEx = BOOL(WINAPI*)(HANDLE, HMODULE*, DWORD, LPDWORD, DWORD);
constexpr DWORD kListModulesAll = 3;

struct Psapi {
    DynamicCall<decltype(&::EnumProcesses)> enumProcesses{"psapi.dll", "EnumProcesses"};
    DynamicCall<decltype(&::EnumProcessModules)> enumModules{"psapi.dll", "EnumProcessModules"};
    DynamicCall<EnumModulesEx> enumModulesEx{"psapi.dll", "EnumProcessModulesEx"};
    DynamicCall<decltype(&::GetModuleFileNameExW)> moduleFileName{"psapi.dll",
                                                                  "GetModuleFileNameExW"};

    static const Psapi& Calls() {
        static const Psapi calls;
        return calls;
    }
};

struct Toolhelp {
    DynamicCall<decltype(&::CreateToolhelp32Snapshot)> snapshot{"kernel32.dll",
                                                                "CreateToolhelp32Snapshot"};
    DynamicCall<decltype(&::Process32First)> processFirst{"kernel32.dll", "Process32First"};
    DynamicCall<decltype(&::Process32Next)> processNext{"kernel32.dll", "Process32Next"};
    DynamicCall<decltype(&::Module32First)> moduleFirst{"kernel32.dll", "Module32First"};
    DynamicCall<decltype(&::Module32Next)> moduleNext{"kernel32.dll", "Module32Next"};

    static const Toolhelp& Calls() {
        static const Toolhelp calls;
        return calls;
    }
};

HANDLE Native(Handle handle) {
    return reinterpret_cast<HANDLE>(handle);
}

BOOL EnumNativeModules(HANDLE process, HMODULE* modules, DWORD bytes, DWORD* needed) {
    const Psapi& psapi = Psapi::Calls();
    if (psapi.enumModulesEx.IsThere()) {
        return psapi.enumModulesEx(process, modules, bytes, needed, kListModulesAll);
    }
    return psapi.enumModules(process, modules, bytes, needed);
}

/// The name as a field of a record, filled with NULs.
Text ToField(const char* name) {
    Text text = FromAnsi({name, strnlen(name, kMaxPath)});
    text.resize(kMaxPath, u'\0');
    return text;
}

template <class Call>
Status WalkProcesses(const Call& call, Handle snapshot, ProcessEntry& entry) {
    if (!call.IsThere()) return NoSuchCall();
    if (entry.size < kProcessRecordSize) return {SystemError::BadLength};
    PROCESSENTRY32 native = {};
    native.dwSize = sizeof(native);
    if (call(Native(snapshot), &native) == 0) return LastFailure();
    entry.processId = native.th32ProcessID;
    entry.exeFile = ToField(native.szExeFile);
    return {};
}

template <class Call>
Status WalkModules(const Call& call, Handle snapshot, ModuleEntry& entry) {
    if (!call.IsThere()) return NoSuchCall();
    if (entry.size < kModuleRecordSize) return {SystemError::BadLength};
    MODULEENTRY32 native = {};
    native.dwSize = sizeof(native);
    if (call(Native(snapshot), &native) == 0) return LastFailure();
    entry.exePath = ToField(native.szExePath);
    return {};
}

}  // namespace

std::uint32_t Win32Processes::GetCurrentProcessId() {
    return ::GetCurrentProcessId();
}

Status Win32Processes::EnumProcesses(std::span<std::uint32_t> ids, std::uint32_t& needed) {
    const auto& call = Psapi::Calls().enumProcesses;
    if (!call.IsThere()) return NoSuchCall();
    std::vector<DWORD> native(ids.size());
    DWORD bytes = 0;
    const auto size = static_cast<DWORD>(native.size() * sizeof(DWORD));
    if (call(native.data(), size, &bytes) == 0) return LastFailure();
    std::copy(native.begin(), native.end(), ids.begin());
    needed = bytes;
    return {};
}

Status Win32Processes::EnumProcessModules(Handle process, std::span<ModuleHandle> modules,
                                          std::uint32_t bytes, std::uint32_t& needed) {
    if (!Psapi::Calls().enumModules.IsThere()) return NoSuchCall();
    std::vector<HMODULE> native(std::min<std::size_t>(bytes / kModuleBytes, modules.size()));
    const auto nativeBytes = static_cast<DWORD>(native.size() * sizeof(HMODULE));
    DWORD nativeNeeded = 0;
    if (EnumNativeModules(Native(process), native.data(), nativeBytes, &nativeNeeded) == 0) {
        return LastFailure();
    }
    const std::size_t count = nativeNeeded / sizeof(HMODULE);
    needed = static_cast<std::uint32_t>(count * kModuleBytes);
    native.resize(std::min(native.size(), count));
    for (std::size_t i = 0; i < native.size(); ++i) modules[i] = static_cast<ModuleHandle>(i + 1);
    modules_[process] = {std::move(native), {}};
    return {};
}

std::uint32_t Win32Processes::GetModuleFileNameExW(Handle process, ModuleHandle module,
                                                   std::span<char16_t> buffer) {
    const auto& call = Psapi::Calls().moduleFileName;
    const auto listed = modules_.find(process);
    if (!call.IsThere() || listed == modules_.end()) return 0;
    Modules& modules = listed->second;
    if (module == 0 || module > modules.list.size()) return 0;
    const HMODULE native = modules.list[module - 1];
    if (!modules.paths) modules.paths = ReadModulePaths(Native(process));
    const auto path = modules.paths->find(native);
    if (path != modules.paths->end() && path->second.size() < buffer.size()) {
        *std::ranges::copy(path->second, buffer.begin()).out = u'\0';
        return static_cast<std::uint32_t>(path->second.size());
    }
    const auto size = static_cast<DWORD>(buffer.size());
    const DWORD length = call(Native(process), native, Wide(buffer.data()), size);
    return std::min(length, size);
}

Result<Handle> Win32Processes::OpenProcess(std::uint32_t access, std::uint32_t processId) {
    const HANDLE process = ::OpenProcess(access, FALSE, processId);
    if (process == nullptr) return LastFailure();
    return reinterpret_cast<Handle>(process);
}

Status Win32Processes::TerminateProcess(Handle process, std::uint32_t exitCode) {
    return StatusOf(::TerminateProcess(Native(process), exitCode));
}

Status Win32Processes::CloseHandle(Handle handle) {
    modules_.erase(handle);
    // The value for "no handle" is also the one that stands for the own process, which can't be
    // closed but for which the call would answer success.
    if (handle == 0 || handle == kInvalidHandle) return {SystemError::InvalidHandle};
    return StatusOf(::CloseHandle(Native(handle)));
}

Handle Win32Processes::CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t processId) {
    const auto& call = Toolhelp::Calls().snapshot;
    if (!call.IsThere()) return kInvalidHandle;
    return reinterpret_cast<Handle>(call(flags, processId));
}

Status Win32Processes::Process32First(Handle snapshot, ProcessEntry& entry) {
    return WalkProcesses(Toolhelp::Calls().processFirst, snapshot, entry);
}

Status Win32Processes::Process32Next(Handle snapshot, ProcessEntry& entry) {
    return WalkProcesses(Toolhelp::Calls().processNext, snapshot, entry);
}

Status Win32Processes::Module32First(Handle snapshot, ModuleEntry& entry) {
    return WalkModules(Toolhelp::Calls().moduleFirst, snapshot, entry);
}

Status Win32Processes::Module32Next(Handle snapshot, ModuleEntry& entry) {
    return WalkModules(Toolhelp::Calls().moduleNext, snapshot, entry);
}

}  // namespace bkfd
