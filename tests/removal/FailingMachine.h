#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// Which of a machine's calls fail, counted over all that can: the `first` one, once or with all
/// behind it.
class CallBudget {
  public:
    CallBudget(int first, bool forGood) : first_(first), forGood_(forGood) {}

    template <class Answer, class Call>
    Answer Guard(Answer failure, Call&& call) {
        ++calls_;
        const bool fails = forGood_ ? calls_ >= first_ : calls_ == first_;
        return fails ? failure : call();
    }
    int Calls() const { return calls_; }

    static constexpr Status kFailure{SystemError::IoDevice};

  private:
    int first_;
    bool forGood_;
    int calls_ = 0;
};

// One wrapper an area; a call that fails does nothing and leaves its outputs alone.

class FailingRegistry final : public Registry {
  public:
    FailingRegistry(Registry& real, CallBudget& budget) : real_(real), budget_(budget) {}

    Result<RegistryValue> RegQueryValueExW(RegistryRoot root, TextView subkey,
                                           TextView name) override {
        return budget_.Guard(Result<RegistryValue>(CallBudget::kFailure),
                             [&] { return real_.RegQueryValueExW(root, subkey, name); });
    }
    Status RegSetValueExW(RegistryRoot root, TextView subkey, TextView name,
                          const RegistryValue& value) override {
        return budget_.Guard(CallBudget::kFailure,
                             [&] { return real_.RegSetValueExW(root, subkey, name, value); });
    }
    Status RegDeleteValueW(RegistryRoot root, TextView subkey, TextView name) override {
        return budget_.Guard(CallBudget::kFailure,
                             [&] { return real_.RegDeleteValueW(root, subkey, name); });
    }
    Result<std::vector<Text>> RegEnumKeyExW(RegistryRoot root, TextView subkey) override {
        return budget_.Guard(Result<std::vector<Text>>(CallBudget::kFailure),
                             [&] { return real_.RegEnumKeyExW(root, subkey); });
    }
    Result<std::vector<Text>> RegEnumValueW(RegistryRoot root, TextView subkey) override {
        return budget_.Guard(Result<std::vector<Text>>(CallBudget::kFailure),
                             [&] { return real_.RegEnumValueW(root, subkey); });
    }
    Status RegDeleteKeyW(RegistryRoot root, TextView subkey) override {
        return budget_.Guard(CallBudget::kFailure,
                             [&] { return real_.RegDeleteKeyW(root, subkey); });
    }

  private:
    Registry& real_;
    CallBudget& budget_;
};

class FailingFiles final : public Files {
  public:
    FailingFiles(Files& real, CallBudget& budget) : real_(real), budget_(budget) {}

    Result<std::uint32_t> GetFileAttributesW(TextView path) override {
        return budget_.Guard(Result<std::uint32_t>(CallBudget::kFailure),
                             [&] { return real_.GetFileAttributesW(path); });
    }
    Status SetFileAttributesW(TextView path, std::uint32_t attributes) override {
        return Change([&] { return real_.SetFileAttributesW(path, attributes); });
    }
    Status SetFileAttributesA(std::string_view path, std::uint32_t attributes) override {
        return Change([&] { return real_.SetFileAttributesA(path, attributes); });
    }
    Status DeleteFileW(TextView path) override {
        return Change([&] { return real_.DeleteFileW(path); });
    }
    Status DeleteFileA(std::string_view path) override {
        return Change([&] { return real_.DeleteFileA(path); });
    }
    Status MoveFileW(TextView source, TextView target) override {
        return Change([&] { return real_.MoveFileW(source, target); });
    }
    Status MoveFileA(std::string_view source, std::string_view target) override {
        return Change([&] { return real_.MoveFileA(source, target); });
    }
    Status MoveFileExW(TextView source, TextView target) override {
        return Change([&] { return real_.MoveFileExW(source, target); });
    }
    Status CreateDirectoryW(TextView path) override {
        return Change([&] { return real_.CreateDirectoryW(path); });
    }
    Result<std::unique_ptr<OpenFile>> CreateFileW(TextView path, FileMode mode) override {
        Result<std::unique_ptr<OpenFile>> opened(CallBudget::kFailure);
        (void)Change([&] {
            opened = real_.CreateFileW(path, mode);
            return Status(opened);
        });
        return opened;
    }
    Handle FindFirstFileA(std::string_view path, FindData& data) override {
        return budget_.Guard(kInvalidHandle, [&] { return real_.FindFirstFileA(path, data); });
    }
    Handle FindFirstFileW(TextView path, FindData& data) override {
        return budget_.Guard(kInvalidHandle, [&] { return real_.FindFirstFileW(path, data); });
    }
    Status FindNextFileW(Handle search, FindData& data) override {
        return Change([&] { return real_.FindNextFileW(search, data); });
    }
    Status FindClose(Handle search) override { return real_.FindClose(search); }
    Status SetCurrentDirectoryW(TextView path) override { return real_.SetCurrentDirectoryW(path); }
    Result<Text> GetVolumeInformationW(TextView root) override {
        return real_.GetVolumeInformationW(root);
    }
    SearchPathResult SearchPathW(TextView name, std::span<char16_t> buffer) override {
        return budget_.Guard(SearchPathResult(), [&] { return real_.SearchPathW(name, buffer); });
    }
    SearchPathResult SearchPathA(std::string_view name, std::span<char> buffer) override {
        return budget_.Guard(SearchPathResult(), [&] { return real_.SearchPathA(name, buffer); });
    }
    std::uint32_t GetLongPathNameW(TextView path, std::span<char16_t> buffer) override {
        return budget_.Guard(0U, [&] { return real_.GetLongPathNameW(path, buffer); });
    }

  private:
    template <class Call>
    Status Change(Call&& call) {
        return budget_.Guard(CallBudget::kFailure, call);
    }

    Files& real_;
    CallBudget& budget_;
};

class FailingProcesses final : public Processes {
  public:
    FailingProcesses(Processes& real, CallBudget& budget) : real_(real), budget_(budget) {}

    std::uint32_t GetCurrentProcessId() override { return real_.GetCurrentProcessId(); }
    Status EnumProcesses(std::span<std::uint32_t> ids, std::uint32_t& needed) override {
        return Ask([&] { return real_.EnumProcesses(ids, needed); });
    }
    Status EnumProcessModules(Handle process, std::span<ModuleHandle> modules, std::uint32_t bytes,
                              std::uint32_t& needed) override {
        return Ask([&] { return real_.EnumProcessModules(process, modules, bytes, needed); });
    }
    std::uint32_t GetModuleFileNameExW(Handle process, ModuleHandle module,
                                       std::span<char16_t> buffer) override {
        return budget_.Guard(0U,
                             [&] { return real_.GetModuleFileNameExW(process, module, buffer); });
    }
    Result<Handle> OpenProcess(std::uint32_t access, std::uint32_t processId) override {
        return budget_.Guard(Result<Handle>(CallBudget::kFailure),
                             [&] { return real_.OpenProcess(access, processId); });
    }
    Status TerminateProcess(Handle process, std::uint32_t exitCode) override {
        return Ask([&] { return real_.TerminateProcess(process, exitCode); });
    }
    Status CloseHandle(Handle handle) override { return real_.CloseHandle(handle); }
    Handle CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t processId) override {
        return budget_.Guard(kInvalidHandle,
                             [&] { return real_.CreateToolhelp32Snapshot(flags, processId); });
    }
    Status Process32First(Handle snapshot, ProcessEntry& entry) override {
        return Ask([&] { return real_.Process32First(snapshot, entry); });
    }
    Status Process32Next(Handle snapshot, ProcessEntry& entry) override {
        return Ask([&] { return real_.Process32Next(snapshot, entry); });
    }
    Status Module32First(Handle snapshot, ModuleEntry& entry) override {
        return Ask([&] { return real_.Module32First(snapshot, entry); });
    }
    Status Module32Next(Handle snapshot, ModuleEntry& entry) override {
        return Ask([&] { return real_.Module32Next(snapshot, entry); });
    }

  private:
    template <class Call>
    Status Ask(Call&& call) {
        return budget_.Guard(CallBudget::kFailure, call);
    }

    Processes& real_;
    CallBudget& budget_;
};

class FailingRestart final : public Restart {
  public:
    FailingRestart(Restart& real, CallBudget& budget) : real_(real), budget_(budget) {}

    Result<Handle> OpenProcessToken(std::uint32_t access) override {
        return budget_.Guard(Result<Handle>(CallBudget::kFailure),
                             [&] { return real_.OpenProcessToken(access); });
    }
    Result<std::uint64_t> LookupPrivilegeValueA(std::string_view name) override {
        return budget_.Guard(Result<std::uint64_t>(CallBudget::kFailure),
                             [&] { return real_.LookupPrivilegeValueA(name); });
    }
    Status AdjustTokenPrivileges(Handle token, std::uint64_t luid,
                                 std::uint32_t attributes) override {
        return budget_.Guard(CallBudget::kFailure,
                             [&] { return real_.AdjustTokenPrivileges(token, luid, attributes); });
    }
    Status ExitWindowsEx(std::uint32_t flags, std::uint32_t reason) override {
        return budget_.Guard(CallBudget::kFailure,
                             [&] { return real_.ExitWindowsEx(flags, reason); });
    }

  private:
    Restart& real_;
    CallBudget& budget_;
};

/// A machine of which calls fail by a budget.
class FailingMachine final : public Machine {
  public:
    FailingMachine(Machine& real, CallBudget& budget)
        : real_(real),
          registry_(real.RegistryKeys(), budget),
          files_(real.FileSystem(), budget),
          processes_(real.ProcessTable(), budget),
          session_(real.Session(), budget) {}

    SystemFacts& System() override { return real_.System(); }
    Registry& RegistryKeys() override { return registry_; }
    Files& FileSystem() override { return files_; }
    Processes& ProcessTable() override { return processes_; }
    Restart& Session() override { return session_; }
    Components& ComponentObjects() override { return real_.ComponentObjects(); }
    Shell& ShellCommands() override { return real_.ShellCommands(); }
    Http& HttpRequests() override { return real_.HttpRequests(); }

  private:
    Machine& real_;
    FailingRegistry registry_;
    FailingFiles files_;
    FailingProcesses processes_;
    FailingRestart session_;
};

}  // namespace bkfd
