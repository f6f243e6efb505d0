#include <algorithm>

#include "platform/RegistryValues.h"
#include "platform/model/WindowsPath.h"
#include "platform/volume/StartSteps.h"

// The NT family's start, up to the logon.
namespace bkfd {
namespace {

using Kind = StartPlace::Kind;

constexpr std::uint32_t kAutoStart = 2;
constexpr std::uint32_t kServiceOfProgram = 0x30;  // its own process or a shared one
constexpr std::int32_t kVista = 6;

void StartCore(StartBuilder& start, TextView name, TextView prefix) {
    const auto file = start.FileOfWindows(name);
    if (!file) return;
    // The first ones are listed under the names that the native system has for them.
    const bool isBelowRoot = prefix.starts_with(u"\\SystemRoot");
    const std::size_t left = isBelowRoot ? start.Facts().WindowsFolder().size() : 0;
    start.StartFile(*file, Text(prefix) + file->substr(left));
}

Text ServiceKey(const Text& name) {
    return KeyBelow(StartKey::ControlSet, u"Services\\" + name);
}

/// The shared host isn't what has to be told of a service whose library it loads.
void StartService(StartBuilder& start, const Text& name) {
    const Text key = ServiceKey(name);
    StartAccount& machine = start.Machine();
    const Text line = start.String(machine, key, u"ImagePath");
    Text library = start.String(machine, KeyBelow(key, u"Parameters"), u"ServiceDll");
    if (library.empty()) library = start.String(machine, key, u"ServiceDll");
    if (library.empty()) {
        (void)start.Start(machine, line, {Kind::Service, name});
        return;
    }
    const auto host = machine.programs.Of(machine.facts.ExpandVariables(line));
    if (host) start.Load(machine, host->path, library, {Kind::Service, name});
}

bool IsStarted(StartBuilder& start, const Text& name) {
    return start.Number(ServiceKey(name), u"Start") == kAutoStart;
}

/// Libraries of Winlogon that answer to the logon, none since Windows Vista.
void LoadIntoWinlogon(StartBuilder& start, const Text& key) {
    const auto logon = start.FileOfWindows(u"winlogon.exe");
    if (!logon || start.Facts().major >= kVista) return;
    StartAccount& machine = start.Machine();
    for (const TextView list : {u"Notify", u"GPExtensions"}) {
        for (const Text& name : start.Keys(machine, KeyBelow(key, list))) {
            const Text below = KeyBelow(list, name);
            start.Load(machine, logon, start.String(machine, KeyBelow(key, below), u"DllName"),
                       {Kind::Winlogon, below});
        }
    }
    start.Load(machine, logon, start.String(machine, key, u"GinaDLL"),
               {Kind::Winlogon, u"GinaDLL"});
}

/// All but the first programs of a start use the library that loads these.
bool HasWindows(const ProcessRecord& process) {
    const Text name = ToLower(WindowsPath::Name(process.path));
    return name != u"smss.exe" && name != u"csrss.exe" && name != u"autochk.exe";
}

void LoadIntoAll(StartBuilder& start, const Text& library, const StartReason& reason) {
    StartAccount& machine = start.Machine();
    const auto file = machine.programs.File(machine.facts.ExpandVariables(library), u".dll");
    if (!file) return;
    start.AddPlace(reason, *file);
    for (ProcessRecord& process : start.Processes()) {
        if (HasWindows(process)) StartBuilder::AddModule(process, *file);
    }
}

}  // namespace

void StartSessionManager(StartBuilder& start) {
    StartCore(start, u"smss.exe", u"\\SystemRoot");
    StartAccount& machine = start.Machine();
    const Text key = KeyBelow(StartKey::ControlSet, u"Control\\Session Manager");
    for (const TextView name : {u"BootExecute", u"SetupExecute", u"Execute"}) {
        for (const Text& line : TextsOf(start.Value(machine, key, name))) {
            constexpr TextView kAutoCheck = u"autocheck ";
            const bool isNamed = ToLower(line).starts_with(kAutoCheck);
            const TextView program = TextView(line).substr(isNamed ? kAutoCheck.size() : 0);
            (void)start.Start(machine, program, {Kind::SessionManager, Text(name)});
        }
    }
    StartCore(start, u"csrss.exe", u"\\??\\");
}

void StartWinlogon(StartBuilder& start) {
    StartCore(start, u"winlogon.exe", u"\\??\\");
    StartAccount& machine = start.Machine();
    const Text key = KeyBelow(StartKey::CurrentNT, u"Winlogon");
    LoadIntoWinlogon(start, key);
    StartCore(start, u"services.exe", {});
    StartCore(start, u"lsass.exe", {});
    for (const TextView name : {u"System", u"UIHost", u"Taskman", u"VmApplet", u"AppSetup"}) {
        (void)start.Start(machine, start.String(machine, key, name), {Kind::Winlogon, Text(name)});
    }
    for (StartAccount& account : start.Accounts()) {
        for (const Text& line : Parts(start.String(account, key, u"Userinit"), u",")) {
            (void)start.Start(account, line, {Kind::Winlogon, u"Userinit", account.user});
        }
    }
}

void StartServices(StartBuilder& start) {
    for (const Text& name :
         start.Keys(start.Machine(), KeyBelow(StartKey::ControlSet, u"Services"))) {
        const auto type = start.Number(ServiceKey(name), u"Type");
        if (!IsStarted(start, name) || !type || (*type & kServiceOfProgram) == 0) continue;
        StartService(start, name);
    }
}

void LoadPackages(StartBuilder& start) {
    constexpr struct {
        TextView key;
        TextView name;
    } kOfAuthority[] = {{u"Control\\Lsa", u"Authentication Packages"},
                        {u"Control\\Lsa", u"Notification Packages"},
                        {u"Control\\Lsa", u"Security Packages"},
                        {u"Control\\Lsa\\OSConfig", u"Security Packages"},
                        {u"Control\\SecurityProviders", u"SecurityProviders"}};
    StartAccount& machine = start.Machine();
    const auto authority = start.FileOfWindows(u"lsass.exe");
    for (const auto& [below, name] : kOfAuthority) {
        const RegistryValue value =
            start.Value(machine, KeyBelow(StartKey::ControlSet, below), name);
        for (const Text& library : TextsOf(value)) {
            start.Load(machine, authority, library, {Kind::SecurityPackage, Text(name)});
        }
    }
    if (!IsStarted(start, u"Spooler")) return;
    constexpr struct {
        TextView key;
        TextView name;
    } kOfSpooler[] = {{u"Control\\Print\\Monitors", u"Driver"},
                      {u"Control\\Print\\Providers", u"Name"}};
    const auto spooler = start.FileOfWindows(u"spoolsv.exe");
    for (const auto& [below, name] : kOfSpooler) {
        const Text key = KeyBelow(StartKey::ControlSet, below);
        for (const Text& one : start.Keys(machine, key)) {
            start.Load(machine, spooler, start.String(machine, KeyBelow(key, one), name),
                       {Kind::PrintMonitor, one});
        }
    }
}

void LoadAppInit(StartBuilder& start) {
    StartAccount& machine = start.Machine();
    for (const bool isFor32 : kBothViews) {
        const Text key = KeyOfView(KeyBelow(StartKey::CurrentNT, u"Windows"), isFor32);
        // Since Windows Vista another value has to allow it.
        if (start.Facts().major >= kVista &&
            start.Number(key, u"LoadAppInit_DLLs").value_or(0) == 0) {
            continue;
        }
        for (const Text& library : Parts(start.String(machine, key, u"AppInit_DLLs"), u" ,")) {
            LoadIntoAll(start, library, {Kind::AppInit, u"AppInit_DLLs"});
        }
    }
    const Text key = KeyBelow(StartKey::ControlSet, u"Control\\Session Manager\\AppCertDlls");
    for (const Text& name : start.Names(machine, key)) {
        LoadIntoAll(start, start.String(machine, key, name),
                    {Kind::SessionManager, u"AppCertDlls\\" + name});
    }
}

}  // namespace bkfd
