#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/Date.h"
#include "base/Text.h"
#include "base/Variant.h"
#include "platform/Result.h"
#include "platform/WindowsConstants.h"

/// The seam: all that the engine asks of a Windows machine. Each method has the name and the
/// meaning of the platform call that it stands for, with C++ types for its arguments, and there are
/// no more methods than the engine calls. No method throws; a failure is the platform's error code.
namespace bkfd {

/// A handle of the machine to a process, a snapshot, a search or a token. 0 is no handle.
using Handle = std::uintptr_t;
inline constexpr Handle kInvalidHandle = ~Handle{0};

// ---------------------------------------------------------------- system facts

struct WindowsVersion {
    std::int32_t major = 0;
    std::int32_t minor = 0;
    std::int32_t build = 0;       // the whole build field; on 9x its upper half repeats the version
    std::int32_t platformId = 0;  // see `WindowsPlatform`
    Text servicePack;             // "Service Pack 2", or empty
};

/// Facts of the user's language, with Windows' numbers.
using LocaleFact = std::uint32_t;
inline constexpr LocaleFact kShortMonthNames = 0x44;  // January's; the other months follow

class SystemFacts {
  public:
    virtual ~SystemFacts() = default;

    /// Low byte major version, next byte minor version; `IsVersionOfNT` tells the family.
    virtual std::uint32_t GetVersion() = 0;
    virtual Result<WindowsVersion> GetVersionExW() = 0;
    /// Milliseconds since Windows started, modulo 2^32.
    virtual std::uint32_t GetTickCount() = 0;
    virtual Date GetLocalTime() = 0;
    virtual void Sleep(std::uint32_t milliseconds) = 0;
    /// Replaces each %name% whose variable exists; other text stays as it is.
    virtual Text ExpandEnvironmentStringsW(TextView text) = 0;
    /// The user's temporary folder, with a backslash at its end.
    virtual Text GetTempPathW() = 0;
    /// The system folder of 32-bit programs on a 64-bit Windows, whose registry has two views;
    /// `CallNotImplemented` on other systems.
    virtual Result<Text> GetSystemWow64DirectoryW() = 0;
    /// Whether this is a 32-bit program on a 64-bit Windows.
    virtual bool IsWow64Process() = 0;
    /// Whether the program has an administrator's rights; true where the system knows no rights.
    virtual bool IsUserAnAdmin() = 0;
    /// The full path of the running program's file.
    virtual Text GetModuleFileNameW() = 0;
    /// The system's text for an error code as it gives it, usually with a line end behind it; empty
    /// for an unknown code.
    virtual Text FormatMessageW(std::uint32_t code) = 0;
    /// A fact of the user's language; empty where the machine doesn't tell.
    virtual Text GetLocaleInfoW(LocaleFact /*fact*/) { return {}; }
    /// To the ANSI code page; a character that it lacks becomes "?" or a similar one.
    virtual std::string WideCharToMultiByte(TextView text) = 0;
    /// From the ANSI code page.
    virtual Text MultiByteToWideChar(std::string_view bytes) = 0;
};

// ---------------------------------------------------------------- registry

/// A registry root as its 32-bit handle value.
enum class RegistryRoot : std::uint32_t {
    ClassesRoot = 0x80000000,
    CurrentUser = 0x80000001,
    LocalMachine = 0x80000002,
    Users = 0x80000003,
};

/// The views of a 64-bit Windows' registry. The native one is that of 64-bit programs, whichever
/// program asks.
enum class RegistryView { Native, Bits32 };

/// Where a key's path begins. On a machine of one view all views are the native one.
struct RegistryBase {
    constexpr RegistryBase(RegistryRoot registryRoot,
                           RegistryView registryView = RegistryView::Native)
        : root(registryRoot), view(registryView) {}

    bool operator==(const RegistryBase&) const = default;

    RegistryRoot root;
    RegistryView view;
};

/// Value types, with Windows' numbers; any other number can occur too.
enum class RegistryType : std::uint32_t {
    None = 0,
    String = 1,
    ExpandString = 2,
    Binary = 3,
    Dword = 4,
    MultiString = 7,
};

/// A value as it is stored. Text types hold UTF-16LE, normally with a terminating NUL.
struct RegistryValue {
    RegistryType type = RegistryType::None;
    Bytes data;

    bool operator==(const RegistryValue&) const = default;
};

/// Each call opens the key, does its work and closes the key. Key and value names ignore case and
/// keep the case that they were made with. The empty value name is the key's default value. A key
/// or value that isn't there is `FileNotFound`.
class Registry {
  public:
    virtual ~Registry() = default;

    virtual Result<RegistryValue> RegQueryValueExW(RegistryBase base, TextView subkey,
                                                   TextView name) = 0;
    /// Makes the key and the keys above it where they are missing.
    virtual Status RegSetValueExW(RegistryBase base, TextView subkey, TextView name,
                                  const RegistryValue& value) = 0;
    virtual Status RegDeleteValueW(RegistryBase base, TextView subkey, TextView name) = 0;
    /// Names of the direct subkeys, in the registry's order.
    virtual Result<std::vector<Text>> RegEnumKeyExW(RegistryBase base, TextView subkey) = 0;
    /// Names of the values, in the registry's order; the default value's is empty.
    virtual Result<std::vector<Text>> RegEnumValueW(RegistryBase base, TextView subkey) = 0;
    /// A key with subkeys is `AccessDenied` and stays whole.
    virtual Status RegDeleteKeyW(RegistryBase base, TextView subkey) = 0;
};

// ---------------------------------------------------------------- files

/// What a directory search tells of a file; the name is its last component as the disk spells it.
struct FindData {
    std::uint32_t attributes = 0;
    std::uint32_t sizeHigh = 0;
    std::uint32_t sizeLow = 0;
    Date lastWrite = 0;
    Text name;
};

enum class FileMode {
    Read,       // an existing file, others may write to it meanwhile
    CreateNew,  // `FileExists` if there is one
    Append,     // made if it is missing, written to at its end
};

/// An open file; it is closed with the object.
class OpenFile {
  public:
    virtual ~OpenFile() = default;

    virtual Result<std::uint64_t> GetFileSize() = 0;
    /// Fills `buffer` from `offset`; fewer bytes than asked for only at the end of the file.
    virtual Result<std::size_t> ReadFile(std::uint64_t offset, std::span<std::uint8_t> buffer) = 0;
    /// All or an error; after an error part of the bytes may have been written.
    virtual Status WriteFile(std::span<const std::uint8_t> bytes) = 0;
    /// Returns when what was written lies on the disk.
    virtual Status FlushFileBuffers() = 0;
};

/// What SearchPath wrote: the count of characters without the NUL, or the size that the buffer
/// would need with it, or 0 when nothing was found. `filePart` is the address of the last component
/// in the buffer, 0 where there is none.
struct SearchPathResult {
    std::uint32_t count = 0;
    std::intptr_t filePart = 0;
};

/// Paths are absolute ("C:\..."), or relative to the program's current folder. Names ignore case.
/// Calls ending in A take text in the ANSI code page.
class Files {
  public:
    virtual ~Files() = default;

    virtual Result<std::uint32_t> GetFileAttributesW(TextView path) = 0;
    virtual Status SetFileAttributesW(TextView path, std::uint32_t attributes) = 0;
    virtual Status SetFileAttributesA(std::string_view path, std::uint32_t attributes) = 0;
    virtual Status DeleteFileW(TextView path) = 0;
    virtual Status DeleteFileA(std::string_view path) = 0;
    /// Fails with `AlreadyExists` when the target is there.
    virtual Status MoveFileW(TextView source, TextView target) = 0;
    virtual Status MoveFileA(std::string_view source, std::string_view target) = 0;
    /// A move within one folder that takes the place of an existing target, so that a crash leaves
    /// the old or the new file. Where the system has no such call, delete and move.
    virtual Status MoveFileExW(TextView source, TextView target) = 0;
    virtual Status CreateDirectoryW(TextView path) = 0;
    virtual Result<std::unique_ptr<OpenFile>> CreateFileW(TextView path, FileMode mode) = 0;

    /// The first entry that matches; wildcards * and ? stand in the last component. The handle is
    /// `kInvalidHandle` on failure.
    virtual Handle FindFirstFileA(std::string_view path, FindData& data) = 0;
    virtual Handle FindFirstFileW(TextView path, FindData& data) = 0;
    /// The next entry of a wide search; `NoMoreFiles` behind the last one.
    virtual Status FindNextFileW(Handle search, FindData& data) = 0;
    virtual Status FindClose(Handle search) = 0;

    virtual Status SetCurrentDirectoryW(TextView path) = 0;
    /// The label of a volume by its root ("C:\"), or with the empty text of the current folder's.
    virtual Result<Text> GetVolumeInformationW(TextView root) = 0;

    /// Looks a name up in the system's search order: the program's folder, the current folder, the
    /// system folders, the Windows folder, then %PATH%. A name with a path is looked up as it is;
    /// folders are found too. `buffer` receives the full name and a NUL when it is large enough.
    virtual SearchPathResult SearchPathW(TextView name, std::span<char16_t> buffer) = 0;
    virtual SearchPathResult SearchPathA(std::string_view name, std::span<char> buffer) = 0;
    /// `path` ends at its first NUL. Returns the count without the NUL, the size needed with it
    /// when the buffer is too small, or 0 when the file isn't there.
    virtual std::uint32_t GetLongPathNameW(TextView path, std::span<char16_t> buffer) = 0;
};

// ---------------------------------------------------------------- processes

/// A module of a process; meaningful together with the process's handle.
using ModuleHandle = std::uint32_t;

struct ProcessEntry {
    std::uint32_t size = 0;  // set by the caller; too small a record is `BadLength`
    std::uint32_t processId = 0;
    Text exeFile;  // a field of `kMaxPath` characters, filled with NULs
};

struct ModuleEntry {
    std::uint32_t size = 0;  // set by the caller; too small a record is `BadLength`
    Text exePath;            // a field of `kMaxPath` characters, filled with NULs
};

/// Sizes in bytes count 4 a process identifier and 4 a module, whatever the architecture.
class Processes {
  public:
    virtual ~Processes() = default;

    virtual std::uint32_t GetCurrentProcessId() = 0;

    // The NT family's calls.
    /// Fills `ids` and sets `needed` to the bytes filled; a full array may not be the whole list.
    virtual Status EnumProcesses(std::span<std::uint32_t> ids, std::uint32_t& needed) = 0;
    /// `bytes` bounds what is filled; `needed` is set to the bytes that all modules take, which may
    /// be more.
    virtual Status EnumProcessModules(Handle process, std::span<ModuleHandle> modules,
                                      std::uint32_t bytes, std::uint32_t& needed) = 0;
    /// Returns the count of characters written, cut to the buffer, or 0.
    virtual std::uint32_t GetModuleFileNameExW(Handle process, ModuleHandle module,
                                               std::span<char16_t> buffer) = 0;

    // Both families' calls. The handle is 0 on failure.
    virtual Result<Handle> OpenProcess(std::uint32_t access, std::uint32_t processId) = 0;
    virtual Status TerminateProcess(Handle process, std::uint32_t exitCode) = 0;
    /// Closes any handle but that of a search; a handle that isn't open is `InvalidHandle`.
    virtual Status CloseHandle(Handle handle) = 0;

    // The toolhelp calls, which the 9x family has. A snapshot is `kInvalidHandle` on failure.
    virtual Handle CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t processId) = 0;
    virtual Status Process32First(Handle snapshot, ProcessEntry& entry) = 0;
    /// `NoMoreFiles` behind the last one.
    virtual Status Process32Next(Handle snapshot, ProcessEntry& entry) = 0;
    virtual Status Module32First(Handle snapshot, ModuleEntry& entry) = 0;
    virtual Status Module32Next(Handle snapshot, ModuleEntry& entry) = 0;
};

// ---------------------------------------------------------------- restart

class Restart {
  public:
    virtual ~Restart() = default;

    virtual Result<Handle> OpenProcessToken(std::uint32_t access) = 0;
    virtual Result<std::uint64_t> LookupPrivilegeValueA(std::string_view name) = 0;
    virtual Status AdjustTokenPrivileges(Handle token, std::uint64_t luid,
                                         std::uint32_t attributes) = 0;
    virtual Status ExitWindowsEx(std::uint32_t flags, std::uint32_t reason) = 0;
};

// ---------------------------------------------------------------- component objects

/// How a component's class is known: by programmatic identifier or by class identifier, and the
/// file that holds it, which is also looked for beside the program.
struct ComponentClass {
    Text progId;
    Text classId;  // "{...}"
    Text file;     // "BKFDCustom.dll"
};

class Components {
  public:
    virtual ~Components() = default;

    /// Creates an object of a registered class, or else of the component's file beside the program,
    /// or else of a class that this process registered. A failure's code is an HRESULT.
    virtual Result<ObjectRef> CoCreateInstance(const ComponentClass& component) = 0;
    /// Offers a class of this process under a component's file name.
    virtual void CoRegisterClassObject(const Text& file, std::function<ObjectRef()> make) = 0;
    /// A fresh identifier, "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case.
    virtual Text CoCreateGuid() = 0;
};

// ---------------------------------------------------------------- shell

class Shell {
  public:
    virtual ~Shell() = default;

    /// Opens a file or folder with a verb, in a normal window.
    virtual Status ShellExecuteA(std::string_view verb, std::string_view file) = 0;
    /// The verb on the file's item, such as "properties", without messages of the system's own.
    /// `mask` is a sum of `ExecuteMask`. `window` is the native handle of the window that asks,
    /// before which the item's window comes up, or 0.
    virtual Status ShellExecuteExW(TextView verb, TextView file, std::uint32_t mask,
                                   std::uintptr_t window) = 0;
    /// Starts a command line in a normal window.
    virtual Status WinExec(TextView commandLine) = 0;
};

// ---------------------------------------------------------------- HTTP

/// One exchange of the system's XML service, asynchronous; members have its names. The object may
/// be dropped at any time.
class HttpRequest {
  public:
    virtual ~HttpRequest() = default;

    virtual Status open(TextView method, TextView url) = 0;
    virtual Status setRequestHeader(TextView name, TextView value) = 0;
    /// The body holds one byte a character.
    virtual Status send(TextView body) = 0;
    /// A `ReadyState`: opened, whether sent or not, and complete also after a failure of the
    /// network. Asking lets the exchange go on where nothing else drives it.
    virtual std::int32_t readyState() = 0;
    /// The answer's status; a failure when there is no answer.
    virtual Result<std::int32_t> status() = 0;
    virtual Text statusText() = 0;
    virtual void abort() = 0;
};

class Http {
  public:
    virtual ~Http() = default;

    virtual Result<std::unique_ptr<HttpRequest>> CreateXmlHttpRequest() = 0;
};

// ---------------------------------------------------------------- the whole

class Machine {
  public:
    virtual ~Machine() = default;

    virtual SystemFacts& System() = 0;
    virtual Registry& RegistryKeys() = 0;
    virtual Files& FileSystem() = 0;
    virtual Processes& ProcessTable() = 0;
    virtual Restart& Session() = 0;
    virtual Components& ComponentObjects() = 0;
    virtual Shell& ShellCommands() = 0;
    virtual Http& HttpRequests() = 0;
};

/// The machine that the engine works on. `InstallMachine` must have been called; the machine must
/// outlive its use.
Machine& TheMachine();
/// Returns the machine installed before, or null.
Machine* InstallMachine(Machine* machine);

}  // namespace bkfd
