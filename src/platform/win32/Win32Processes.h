#pragma once

#include <map>
#include <optional>

#include "platform/Machine.h"
#include "platform/win32/ModulePaths.h"

namespace bkfd {

/// Processes. A native module is as wide as an address; here it is the place, counted from 1, in
/// the last list that was taken of its process.
class Win32Processes : public Processes {
  public:
    std::uint32_t GetCurrentProcessId() override;
    Status EnumProcesses(std::span<std::uint32_t> ids, std::uint32_t& needed) override;
    Status EnumProcessModules(Handle process, std::span<ModuleHandle> modules, std::uint32_t bytes,
                              std::uint32_t& needed) override;
    std::uint32_t GetModuleFileNameExW(Handle process, ModuleHandle module,
                                       std::span<char16_t> buffer) override;
    Result<Handle> OpenProcess(std::uint32_t access, std::uint32_t processId) override;
    Status TerminateProcess(Handle process, std::uint32_t exitCode) override;
    Status CloseHandle(Handle handle) override;
    Handle CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t processId) override;
    Status Process32First(Handle snapshot, ProcessEntry& entry) override;
    Status Process32Next(Handle snapshot, ProcessEntry& entry) override;
    Status Module32First(Handle snapshot, ModuleEntry& entry) override;
    Status Module32Next(Handle snapshot, ModuleEntry& entry) override;

  private:
    struct Modules {
        std::vector<HINSTANCE__*> list;
        std::optional<ModulePaths> paths;  // read when the first is asked for
    };

    std::map<Handle, Modules> modules_;  // of the open processes that were asked for them
};

}  // namespace bkfd
