#include "platform/forward/ForwardMachine.h"

#include "platform/forward/Through.h"

namespace bkfd {

using forward::Through;

namespace {

class NoGate final : public CallGate {
  public:
    Status Enter(const char*) override { return {}; }
};

}  // namespace

Result<WindowsVersion> ForwardSystem::GetVersionExW() {
    return Through<Result<WindowsVersion>>(gate_, "GetVersionExW",
                                           [&] { return target_.GetVersionExW(); });
}

Result<RegistryValue> ForwardRegistry::RegQueryValueExW(RegistryBase base, TextView subkey,
                                                        TextView name) {
    return Through<Result<RegistryValue>>(
        gate_, "RegQueryValueExW", [&] { return target_.RegQueryValueExW(base, subkey, name); });
}

Status ForwardRegistry::RegSetValueExW(RegistryBase base, TextView subkey, TextView name,
                                       const RegistryValue& value) {
    return Through<Status>(gate_, "RegSetValueExW",
                           [&] { return target_.RegSetValueExW(base, subkey, name, value); });
}

Status ForwardRegistry::RegDeleteValueW(RegistryBase base, TextView subkey, TextView name) {
    return Through<Status>(gate_, "RegDeleteValueW",
                           [&] { return target_.RegDeleteValueW(base, subkey, name); });
}

Result<std::vector<Text>> ForwardRegistry::RegEnumKeyExW(RegistryBase base, TextView subkey) {
    return Through<Result<std::vector<Text>>>(gate_, "RegEnumKeyExW",
                                              [&] { return target_.RegEnumKeyExW(base, subkey); });
}

Result<std::vector<Text>> ForwardRegistry::RegEnumValueW(RegistryBase base, TextView subkey) {
    return Through<Result<std::vector<Text>>>(gate_, "RegEnumValueW",
                                              [&] { return target_.RegEnumValueW(base, subkey); });
}

Status ForwardRegistry::RegDeleteKeyW(RegistryBase base, TextView subkey) {
    return Through<Status>(gate_, "RegDeleteKeyW",
                           [&] { return target_.RegDeleteKeyW(base, subkey); });
}

Status ForwardProcesses::EnumProcesses(std::span<std::uint32_t> ids, std::uint32_t& needed) {
    return Through<Status>(gate_, "EnumProcesses",
                           [&] { return target_.EnumProcesses(ids, needed); });
}

Status ForwardProcesses::EnumProcessModules(Handle process, std::span<ModuleHandle> modules,
                                            std::uint32_t bytes, std::uint32_t& needed) {
    return Through<Status>(gate_, "EnumProcessModules", [&] {
        return target_.EnumProcessModules(process, modules, bytes, needed);
    });
}

std::uint32_t ForwardProcesses::GetModuleFileNameExW(Handle process, ModuleHandle module,
                                                     std::span<char16_t> buffer) {
    return Through<std::uint32_t>(gate_, "GetModuleFileNameExW", {}, [&] {
        return target_.GetModuleFileNameExW(process, module, buffer);
    });
}

Result<Handle> ForwardProcesses::OpenProcess(std::uint32_t access, std::uint32_t processId) {
    return Through<Result<Handle>>(gate_, "OpenProcess",
                                   [&] { return target_.OpenProcess(access, processId); });
}

Status ForwardProcesses::TerminateProcess(Handle process, std::uint32_t exitCode) {
    return Through<Status>(gate_, "TerminateProcess",
                           [&] { return target_.TerminateProcess(process, exitCode); });
}

Handle ForwardProcesses::CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t processId) {
    return Through<Handle>(gate_, "CreateToolhelp32Snapshot", kInvalidHandle,
                           [&] { return target_.CreateToolhelp32Snapshot(flags, processId); });
}

Status ForwardProcesses::Process32First(Handle snapshot, ProcessEntry& entry) {
    return Through<Status>(gate_, "Process32First",
                           [&] { return target_.Process32First(snapshot, entry); });
}

Status ForwardProcesses::Process32Next(Handle snapshot, ProcessEntry& entry) {
    return Through<Status>(gate_, "Process32Next",
                           [&] { return target_.Process32Next(snapshot, entry); });
}

Status ForwardProcesses::Module32First(Handle snapshot, ModuleEntry& entry) {
    return Through<Status>(gate_, "Module32First",
                           [&] { return target_.Module32First(snapshot, entry); });
}

Status ForwardProcesses::Module32Next(Handle snapshot, ModuleEntry& entry) {
    return Through<Status>(gate_, "Module32Next",
                           [&] { return target_.Module32Next(snapshot, entry); });
}

Result<Handle> ForwardRestart::OpenProcessToken(std::uint32_t access) {
    return Through<Result<Handle>>(gate_, "OpenProcessToken",
                                   [&] { return target_.OpenProcessToken(access); });
}

Result<std::uint64_t> ForwardRestart::LookupPrivilegeValueA(std::string_view name) {
    return Through<Result<std::uint64_t>>(gate_, "LookupPrivilegeValueA",
                                          [&] { return target_.LookupPrivilegeValueA(name); });
}

Status ForwardRestart::AdjustTokenPrivileges(Handle token, std::uint64_t luid,
                                             std::uint32_t attributes) {
    return Through<Status>(gate_, "AdjustTokenPrivileges",
                           [&] { return target_.AdjustTokenPrivileges(token, luid, attributes); });
}

Status ForwardRestart::ExitWindowsEx(std::uint32_t flags, std::uint32_t reason) {
    return Through<Status>(gate_, "ExitWindowsEx",
                           [&] { return target_.ExitWindowsEx(flags, reason); });
}

Result<ObjectRef> ForwardComponents::CoCreateInstance(const ComponentClass& component) {
    return Through<Result<ObjectRef>>(gate_, "CoCreateInstance",
                                      [&] { return target_.CoCreateInstance(component); });
}

Status ForwardShell::ShellExecuteA(std::string_view verb, std::string_view file) {
    return Through<Status>(gate_, "ShellExecuteA",
                           [&] { return target_.ShellExecuteA(verb, file); });
}

Status ForwardShell::ShellExecuteExW(TextView verb, TextView file, std::uint32_t mask,
                                     std::uintptr_t window) {
    return Through<Status>(gate_, "ShellExecuteExW",
                           [&] { return target_.ShellExecuteExW(verb, file, mask, window); });
}

Status ForwardShell::WinExec(TextView commandLine) {
    return Through<Status>(gate_, "WinExec", [&] { return target_.WinExec(commandLine); });
}

Result<std::unique_ptr<HttpRequest>> ForwardHttp::CreateXmlHttpRequest() {
    return Through<Result<std::unique_ptr<HttpRequest>>>(
        gate_, "CreateXmlHttpRequest", [&] { return target_.CreateXmlHttpRequest(); });
}

ForwardMachine::ForwardMachine(Machine& target, CallGate& gate)
    : system_(target.System(), gate),
      registry_(target.RegistryKeys(), gate),
      files_(target.FileSystem(), gate),
      processes_(target.ProcessTable(), gate),
      restart_(target.Session(), gate),
      components_(target.ComponentObjects(), gate),
      shell_(target.ShellCommands(), gate),
      http_(target.HttpRequests(), gate) {}

CallGate& ForwardMachine::OpenGate() {
    static NoGate gate;
    return gate;
}

}  // namespace bkfd
