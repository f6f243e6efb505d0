#pragma once

#include "platform/Machine.h"

/// Machines that hand every call on to another one: what wrappers build on. A wrapper overrides
/// what it cares about, or looks at all calls that can fail through a gate.
namespace bkfd {

/// Is asked before each call that can fail. What it answers other than success is the call's
/// outcome, and the call isn't made.
class CallGate {
  public:
    virtual ~CallGate() = default;
    /// `call` is the operation's name, "MoveFileW".
    virtual Status Enter(const char* call) = 0;
};

class ForwardSystem : public SystemFacts {
  public:
    ForwardSystem(SystemFacts& target, CallGate& gate) : target_(target), gate_(gate) {}

    std::uint32_t GetVersion() override { return target_.GetVersion(); }
    Result<WindowsVersion> GetVersionExW() override;
    std::uint32_t GetTickCount() override { return target_.GetTickCount(); }
    Date GetLocalTime() override { return target_.GetLocalTime(); }
    void Sleep(std::uint32_t milliseconds) override { target_.Sleep(milliseconds); }
    Text ExpandEnvironmentStringsW(TextView text) override {
        return target_.ExpandEnvironmentStringsW(text);
    }
    Text GetTempPathW() override { return target_.GetTempPathW(); }
    Result<Text> GetSystemWow64DirectoryW() override { return target_.GetSystemWow64DirectoryW(); }
    bool IsWow64Process() override { return target_.IsWow64Process(); }
    bool IsUserAnAdmin() override { return target_.IsUserAnAdmin(); }
    Text GetModuleFileNameW() override { return target_.GetModuleFileNameW(); }
    Text FormatMessageW(std::uint32_t code) override { return target_.FormatMessageW(code); }
    Text GetLocaleInfoW(LocaleFact fact) override { return target_.GetLocaleInfoW(fact); }
    std::string WideCharToMultiByte(TextView text) override {
        return target_.WideCharToMultiByte(text);
    }
    Text MultiByteToWideChar(std::string_view bytes) override {
        return target_.MultiByteToWideChar(bytes);
    }

  protected:
    SystemFacts& target_;
    CallGate& gate_;
};

class ForwardRegistry : public Registry {
  public:
    ForwardRegistry(Registry& target, CallGate& gate) : target_(target), gate_(gate) {}

    Result<RegistryValue> RegQueryValueExW(RegistryBase base, TextView subkey,
                                           TextView name) override;
    Status RegSetValueExW(RegistryBase base, TextView subkey, TextView name,
                          const RegistryValue& value) override;
    Status RegDeleteValueW(RegistryBase base, TextView subkey, TextView name) override;
    Result<std::vector<Text>> RegEnumKeyExW(RegistryBase base, TextView subkey) override;
    Result<std::vector<Text>> RegEnumValueW(RegistryBase base, TextView subkey) override;
    Status RegDeleteKeyW(RegistryBase base, TextView subkey) override;

  protected:
    Registry& target_;
    CallGate& gate_;
};

class ForwardFiles : public Files {
  public:
    ForwardFiles(Files& target, CallGate& gate) : target_(target), gate_(gate) {}

    Result<std::uint32_t> GetFileAttributesW(TextView path) override;
    Status SetFileAttributesW(TextView path, std::uint32_t attributes) override;
    Status SetFileAttributesA(std::string_view path, std::uint32_t attributes) override;
    Status DeleteFileW(TextView path) override;
    Status DeleteFileA(std::string_view path) override;
    Status MoveFileW(TextView source, TextView target) override;
    Status MoveFileA(std::string_view source, std::string_view target) override;
    Status MoveFileExW(TextView source, TextView target) override;
    Status CreateDirectoryW(TextView path) override;
    /// The open file's calls go through the gate too.
    Result<std::unique_ptr<OpenFile>> CreateFileW(TextView path, FileMode mode) override;
    Handle FindFirstFileA(std::string_view path, FindData& data) override;
    Handle FindFirstFileW(TextView path, FindData& data) override;
    Status FindNextFileW(Handle search, FindData& data) override;
    Status FindClose(Handle search) override { return target_.FindClose(search); }
    Status SetCurrentDirectoryW(TextView path) override;
    Result<Text> GetVolumeInformationW(TextView root) override;
    SearchPathResult SearchPathW(TextView name, std::span<char16_t> buffer) override;
    SearchPathResult SearchPathA(std::string_view name, std::span<char> buffer) override;
    std::uint32_t GetLongPathNameW(TextView path, std::span<char16_t> buffer) override;

  protected:
    Files& target_;
    CallGate& gate_;
};

class ForwardProcesses : public Processes {
  public:
    ForwardProcesses(Processes& target, CallGate& gate) : target_(target), gate_(gate) {}

    std::uint32_t GetCurrentProcessId() override { return target_.GetCurrentProcessId(); }
    Status EnumProcesses(std::span<std::uint32_t> ids, std::uint32_t& needed) override;
    Status EnumProcessModules(Handle process, std::span<ModuleHandle> modules, std::uint32_t bytes,
                              std::uint32_t& needed) override;
    std::uint32_t GetModuleFileNameExW(Handle process, ModuleHandle module,
                                       std::span<char16_t> buffer) override;
    Result<Handle> OpenProcess(std::uint32_t access, std::uint32_t processId) override;
    Status TerminateProcess(Handle process, std::uint32_t exitCode) override;
    Status CloseHandle(Handle handle) override { return target_.CloseHandle(handle); }
    Handle CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t processId) override;
    Status Process32First(Handle snapshot, ProcessEntry& entry) override;
    Status Process32Next(Handle snapshot, ProcessEntry& entry) override;
    Status Module32First(Handle snapshot, ModuleEntry& entry) override;
    Status Module32Next(Handle snapshot, ModuleEntry& entry) override;

  protected:
    Processes& target_;
    CallGate& gate_;
};

class ForwardRestart : public Restart {
  public:
    ForwardRestart(Restart& target, CallGate& gate) : target_(target), gate_(gate) {}

    Result<Handle> OpenProcessToken(std::uint32_t access) override;
    Result<std::uint64_t> LookupPrivilegeValueA(std::string_view name) override;
    Status AdjustTokenPrivileges(Handle token, std::uint64_t luid,
                                 std::uint32_t attributes) override;
    Status ExitWindowsEx(std::uint32_t flags, std::uint32_t reason) override;

  protected:
    Restart& target_;
    CallGate& gate_;
};

class ForwardComponents : public Components {
  public:
    ForwardComponents(Components& target, CallGate& gate) : target_(target), gate_(gate) {}

    Result<ObjectRef> CoCreateInstance(const ComponentClass& component) override;
    void CoRegisterClassObject(const Text& file, std::function<ObjectRef()> make) override {
        target_.CoRegisterClassObject(file, std::move(make));
    }
    Text CoCreateGuid() override { return target_.CoCreateGuid(); }

  protected:
    Components& target_;
    CallGate& gate_;
};

class ForwardShell : public Shell {
  public:
    ForwardShell(Shell& target, CallGate& gate) : target_(target), gate_(gate) {}

    Status ShellExecuteA(std::string_view verb, std::string_view file) override;
    Status ShellExecuteExW(TextView verb, TextView file, std::uint32_t mask,
                           std::uintptr_t window) override;
    Status WinExec(TextView commandLine) override;

  protected:
    Shell& target_;
    CallGate& gate_;
};

class ForwardHttp : public Http {
  public:
    ForwardHttp(Http& target, CallGate& gate) : target_(target), gate_(gate) {}

    Result<std::unique_ptr<HttpRequest>> CreateXmlHttpRequest() override;

  protected:
    Http& target_;
    CallGate& gate_;
};

/// Hands all calls on, through the gate.
class ForwardMachine : public Machine {
  public:
    SystemFacts& System() override { return system_; }
    Registry& RegistryKeys() override { return registry_; }
    Files& FileSystem() override { return files_; }
    Processes& ProcessTable() override { return processes_; }
    Restart& Session() override { return restart_; }
    Components& ComponentObjects() override { return components_; }
    Shell& ShellCommands() override { return shell_; }
    Http& HttpRequests() override { return http_; }

  protected:
    ForwardMachine(Machine& target, CallGate& gate);

    /// A gate that lets everything through.
    static CallGate& OpenGate();

  private:
    ForwardSystem system_;
    ForwardRegistry registry_;
    ForwardFiles files_;
    ForwardProcesses processes_;
    ForwardRestart restart_;
    ForwardComponents components_;
    ForwardShell shell_;
    ForwardHttp http_;
};

}  // namespace bkfd
