#include "platform/volume/StartTable.h"

#include <algorithm>

#include "formats/ShellLink.h"
#include "platform/RegistryValues.h"
#include "platform/model/WindowsPath.h"
#include "platform/volume/CommandProgram.h"

namespace bkfd {
namespace {

using Kind = StartPlace::Kind;

constexpr TextView kCurrent = u"Software\\Microsoft\\Windows\\CurrentVersion";
constexpr TextView kCurrentNT = u"Software\\Microsoft\\Windows NT\\CurrentVersion";
constexpr TextView kCurrent32 = u"Software\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion";
constexpr TextView kCurrentNT32 = u"Software\\Wow6432Node\\Microsoft\\Windows NT\\CurrentVersion";
constexpr TextView kControlSet = u"System\\CurrentControlSet";
constexpr TextView kRunKeys[] = {u"Run", u"RunOnce", u"RunOnce\\Setup", u"policies\\Explorer\\Run"};
/// The NT family doesn't look at them. Wine does, for a program of its own that ends at once.
constexpr TextView kRunServicesKeys[] = {u"RunServices", u"RunServicesOnce"};
/// Identifiers are multiples of 4; the first ones are the system's own.
constexpr std::uint32_t kFirstId = 256;
constexpr std::uint32_t kIdStep = 4;
constexpr std::uint32_t kAutoStart = 2;
constexpr std::uint32_t kServiceOfProgram = 0x30;  // its own process or a shared one
constexpr std::uint64_t kLongestFile = 1 << 20;    // of links and .ini files

/// A registry place: below the machine's root or one user's.
struct Where {
    RegistryRoot root = RegistryRoot::LocalMachine;
    Text above;  // the user's key with a backslash
    Text user;   // name

    Text Key(TextView key) const { return above + Text(key); }
};

/// The parts of a list, separators and blanks around them left out.
std::vector<Text> Parts(TextView list, TextView separators) {
    std::vector<Text> parts;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find_first_of(separators), list.size());
        Text part = Trim(list.substr(0, end));
        if (!part.empty()) parts.push_back(std::move(part));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return parts;
}

std::vector<Text> MultiString(const RegistryValue& value) {
    Text text;
    for (std::size_t i = 0; i + 1 < value.data.size(); i += 2) {
        text += static_cast<char16_t>(value.data[i] | value.data[i + 1] << 8);
    }
    return Parts(text, TextView(u"\0", 1));
}

class Builder {
  public:
    explicit Builder(const StartSources& sources)
        : roots_(sources.roots),
          volume_(sources.volume),
          facts_(sources.facts),
          codePage_(sources.codePage),
          programs_(sources.volume, sources.facts),
          programs32_(sources.volume, sources.facts, true) {
        places_.push_back({});
        for (const VolumeUser& user : sources.users) {
            places_.push_back({RegistryRoot::Users, user.key + u'\\', user.name});
            users_.push_back(user);
        }
    }

    StartTable Make() {
        if (facts_.IsNT()) {
            AddSessionManager();
            AddWinlogon();
            AddServices();
        } else {
            AddCore95();
        }
        AddShell();
        AddBrowser();
        for (const Where& where : places_) AddRunKeys(where);
        AddStartFolders();
        if (facts_.IsNT()) {
            AddAppInit();
        } else {
            AddIniFiles();
        }
        return std::move(table_);
    }

  private:
    /// Does the work for the native view of the registry and for that of 32-bit programs, with the
    /// files that programs of the view get.
    template <class Work>
    void InEachView(const Work& work) {
        for (const bool is32Bit : {false, true}) {
            is32Bit_ = is32Bit;
            work();
        }
        is32Bit_ = false;
    }
    CommandPrograms& Programs() { return is32Bit_ ? programs32_ : programs_; }
    TextView Current() const { return is32Bit_ ? kCurrent32 : kCurrent; }
    TextView CurrentNT() const { return is32Bit_ ? kCurrentNT32 : kCurrentNT; }

    // ------------------------------------------------------------ the table

    /// The process of a program, a new one unless it runs already.
    ProcessRecord& Process(const Text& path, const Text& reported = {}) {
        for (ProcessRecord& record : table_.processes) {
            if (EqualsIgnoreCase(record.path, path) || EqualsIgnoreCase(record.path, reported)) {
                return record;
            }
        }
        ProcessRecord record;
        record.id = kFirstId + kIdStep * static_cast<std::uint32_t>(table_.processes.size());
        record.path = reported.empty() ? path : reported;
        return table_.processes.emplace_back(std::move(record));
    }

    static void AddModule(ProcessRecord& process, const Text& library) {
        const bool isThere = std::ranges::any_of(
            process.modules, [&](const Text& module) { return EqualsIgnoreCase(module, library); });
        if (!isThere) process.modules.push_back(library);
    }

    void AddPlace(Kind kind, const Text& name, const Text& file, const Text& user = {}) {
        StartPlace place{kind, name, file, user};
        if (std::ranges::find(table_.places, place) == table_.places.end()) {
            table_.places.push_back(std::move(place));
        }
    }

    /// Starts the program of a command line; null if its file isn't there.
    ProcessRecord* Start(TextView line, Kind kind, const Text& name, const Text& user = {}) {
        const auto started = Programs().Of(ExpandVariables(line, facts_));
        if (!started) return nullptr;
        ProcessRecord& process = Process(started->path);
        AddPlace(kind, name, started->library.value_or(started->path), user);
        if (started->library) AddModule(process, *started->library);
        return &process;
    }

    /// Has a library loaded into a process, if its file is there.
    void Load(ProcessRecord* process, TextView name, Kind kind, const Text& place,
              const Text& user = {}) {
        const auto file = Programs().File(ExpandVariables(name, facts_), u".dll");
        if (!file) return;
        AddPlace(kind, place, *file, user);
        if (process != nullptr) AddModule(*process, *file);
    }

    // ------------------------------------------------------------ the registry

    RegistryValue Value(const Where& where, TextView key, TextView name) {
        const auto value = roots_.QueryValue(where.root, where.Key(key), name);
        return value.IsOk() ? value.value : RegistryValue();
    }
    Text String(const Where& where, TextView key, TextView name) {
        return TextOfValue(Value(where, key, name));
    }
    std::vector<Text> Names(const Where& where, TextView key) {
        auto names = roots_.EnumValues(where.root, where.Key(key));
        return names.IsOk() ? std::move(names.value) : std::vector<Text>();
    }
    std::vector<Text> Keys(const Where& where, TextView key) {
        auto keys = roots_.EnumKeys(where.root, where.Key(key));
        return keys.IsOk() ? std::move(keys.value) : std::vector<Text>();
    }
    const Where& Machine() const { return places_.front(); }

    /// The library of a component class: the user's classes before the machine's, those of the view
    /// before the others.
    Text LibraryOf(const Where& where, const Text& clsid) {
        const Text below = u"CLSID\\" + clsid + u"\\InProcServer32";
        const Text classes = u"Software\\Classes\\";
        const Text classes32 = classes + u"Wow6432Node\\";
        for (const Where* place : {&where, &Machine()}) {
            for (const Text& above :
                 {is32Bit_ ? classes32 : classes, is32Bit_ ? classes : classes32}) {
                Text library = String(*place, above + below, {});
                if (!library.empty()) return library;
            }
        }
        return {};
    }

    // ------------------------------------------------------------ the NT family's start

    void AddCoreProgram(TextView name, TextView prefix) {
        const auto file = programs_.File(name, u".exe");
        if (!file) return;
        const Text windows = facts_.WindowsFolder();
        // The first ones are listed under the names that the native system has for them.
        if (prefix.starts_with(u"\\SystemRoot")) {
            Process(*file, Text(prefix) + file->substr(windows.size()));
        } else {
            Process(*file, Text(prefix) + *file);
        }
    }

    void AddSessionManager() {
        AddCoreProgram(u"smss.exe", u"\\SystemRoot");
        const Text key = KeyBelow(kControlSet, u"Control\\Session Manager");
        for (const TextView name : {u"BootExecute", u"SetupExecute", u"Execute"}) {
            for (const Text& line : MultiString(Value(Machine(), key, name))) {
                constexpr TextView kAutoCheck = u"autocheck ";
                const bool isNamed = ToLower(line).starts_with(kAutoCheck);
                Start(isNamed ? TextView(line).substr(kAutoCheck.size()) : TextView(line),
                      Kind::SessionManager, Text(name));
            }
        }
        AddCoreProgram(u"csrss.exe", u"\\??\\");
    }

    void AddWinlogon() {
        AddCoreProgram(u"winlogon.exe", u"\\??\\");
        const Text key = KeyBelow(kCurrentNT, u"Winlogon");
        const auto logon = programs_.File(u"winlogon.exe", u".exe");
        ProcessRecord* process = logon ? &Process(*logon, u"\\??\\" + *logon) : nullptr;
        for (const Text& name : Keys(Machine(), KeyBelow(key, u"Notify"))) {
            Load(process, String(Machine(), KeyBelow(key, u"Notify\\" + name), u"DllName"),
                 Kind::Winlogon, u"Notify\\" + name);
        }
        Load(process, String(Machine(), key, u"GinaDLL"), Kind::Winlogon, u"GinaDLL");
        AddCoreProgram(u"services.exe", {});
        AddCoreProgram(u"lsass.exe", {});
        for (const TextView name : {u"System", u"Taskman", u"VmApplet"}) {
            Start(String(Machine(), key, name), Kind::Winlogon, Text(name));
        }
        for (const Where& where : places_) {
            for (const Text& line : Parts(String(where, key, u"Userinit"), u",")) {
                Start(line, Kind::Winlogon, u"Userinit", where.user);
            }
        }
    }

    void AddServices() {
        const Text key = KeyBelow(kControlSet, u"Services");
        for (const Text& name : Keys(Machine(), key)) {
            const Text service = KeyBelow(key, name);
            const auto start = NumberOfValue(Value(Machine(), service, u"Start"));
            const auto type = NumberOfValue(Value(Machine(), service, u"Type"));
            if (start != kAutoStart || !type || (*type & kServiceOfProgram) == 0) continue;
            AddService(service, name);
        }
    }

    /// The shared host isn't what has to be told of a service whose library it loads.
    void AddService(const Text& service, const Text& name) {
        const Text line = String(Machine(), service, u"ImagePath");
        Text library = String(Machine(), KeyBelow(service, u"Parameters"), u"ServiceDll");
        if (library.empty()) library = String(Machine(), service, u"ServiceDll");
        if (library.empty()) {
            Start(line, Kind::Service, name);
            return;
        }
        const auto host = programs_.Of(ExpandVariables(line, facts_));
        if (host) Load(&Process(host->path), library, Kind::Service, name);
    }

    void AddAppInit() {
        InEachView([this] {
            const Text key = KeyBelow(CurrentNT(), u"Windows");
            // Since Windows Vista another value has to allow it.
            if (facts_.major >= 6 &&
                NumberOfValue(Value(Machine(), key, u"LoadAppInit_DLLs")).value_or(0) == 0) {
                return;
            }
            for (const Text& library : Parts(String(Machine(), key, u"AppInit_DLLs"), u" ,")) {
                const auto file = Programs().File(ExpandVariables(library, facts_), u".dll");
                if (!file) continue;
                AddPlace(Kind::AppInit, u"AppInit_DLLs", *file);
                for (ProcessRecord& process : table_.processes) {
                    if (HasWindows(process)) AddModule(process, *file);
                }
            }
        });
    }

    /// All but the first programs of a start use the library that loads these.
    static bool HasWindows(const ProcessRecord& process) {
        const Text name = ToLower(WindowsPath::Name(process.path));
        return name != u"smss.exe" && name != u"csrss.exe" && name != u"autochk.exe";
    }

    // ------------------------------------------------------------ the 95 family's start

    void AddCore95() {
        for (const TextView name : {u"KERNEL32.DLL", u"MSGSRV32.EXE", u"MPREXE.EXE"}) {
            if (const auto file = programs_.File(name, {})) Process(*file);
        }
    }

    void AddIniFiles() {
        const struct {
            TextView file;
            TextView section;
            TextView name;
        } lines[] = {{u"WIN.INI", u"[windows]", u"load"},
                     {u"WIN.INI", u"[windows]", u"run"},
                     {u"SYSTEM.INI", u"[boot]", u"shell"}};
        for (const auto& line : lines) {
            const Text place = Text(line.file) + u' ' + Text(line.name);
            const Text value = IniLine(line.file, line.section, line.name);
            // "shell" is one command line, the others name programs.
            if (line.name == u"shell") {
                Start(value, Kind::IniFile, place);
                continue;
            }
            for (const Text& program : Parts(value, u" ,")) Start(program, Kind::IniFile, place);
        }
    }

    Text IniLine(TextView file, TextView section, TextView name) {
        const Text content = ReadWhole(WindowsPath::Join(facts_.WindowsFolder(), file));
        bool isInside = false;
        for (const Text& line : Parts(content, u"\r\n")) {
            if (line.starts_with(u'[')) isInside = EqualsIgnoreCase(line, section);
            const std::size_t sign = line.find(u'=');
            if (!isInside || sign == Text::npos) continue;
            if (EqualsIgnoreCase(Trim(TextView(line).substr(0, sign)), name)) {
                return Trim(TextView(line).substr(sign + 1));
            }
        }
        return {};
    }

    // ------------------------------------------------------------ the shell and the browser

    void AddShell() {
        const Text key = KeyBelow(kCurrentNT, u"Winlogon");
        for (const Where& where : places_) {
            for (const Text& line : Parts(String(where, key, u"Shell"), u",")) {
                Start(line, Kind::Winlogon, u"Shell", where.user);
            }
        }
        const auto shell = programs_.File(u"explorer.exe", {});
        if (!shell) return;
        Process(*shell);
        for (const Where& where : places_) AddShellObjects(where, *shell);
    }

    void AddShellObjects(const Where& where, const Text& shell) {
        // Some places have the class as the value's name, others as its text.
        const struct {
            TextView key;
            bool isClassTheName;
        } places[] = {{u"ShellServiceObjectDelayLoad", false},
                      {u"Explorer\\SharedTaskScheduler", true},
                      {u"Explorer\\ShellExecuteHooks", true}};
        for (const auto& place : places) {
            const Text key = KeyBelow(kCurrent, place.key);
            for (const Text& name : Names(where, key)) {
                const Text clsid = place.isClassTheName ? name : String(where, key, name);
                Load(&Process(shell), LibraryOf(where, clsid), Kind::DelayLoad, name, where.user);
            }
        }
        AddHelperObjects(where, shell);
    }

    void AddHelperObjects(const Where& where, const Text& program) {
        InEachView([&] {
            for (const Text& clsid :
                 Keys(where, KeyBelow(Current(), u"Explorer\\Browser Helper Objects"))) {
                for (const Where& user : places_) {
                    Load(&Process(program), LibraryOf(user, clsid), Kind::HelperObject, clsid,
                         where.user);
                }
            }
        });
    }

    void AddBrowser() {
        const Text* folder = facts_.Environment(u"ProgramFiles");
        const auto browser = programs_.File(
            (folder == nullptr ? Text() : *folder) + u"\\Internet Explorer\\iexplore.exe", {});
        if (!browser) return;
        Process(*browser);
        for (const Where& where : places_) AddHelperObjects(where, *browser);
    }

    // ------------------------------------------------------------ the user's logon

    void AddRunKey(const Where& where, const Text& key) {
        for (const Text& name : Names(where, key)) {
            Start(String(where, key, name), Kind::Run, name, where.user);
        }
    }

    void AddRunKeys(const Where& where) {
        InEachView([&] {
            for (const TextView run : kRunKeys) AddRunKey(where, KeyBelow(Current(), run));
        });
        if (!facts_.IsNT()) {
            for (const TextView run : kRunServicesKeys) AddRunKey(where, KeyBelow(kCurrent, run));
            return;
        }
        const Text key = KeyBelow(kCurrentNT, u"Windows");
        for (const TextView name : {u"Load", u"Run"}) {
            for (const Text& line : Parts(String(where, key, name), u",")) {
                Start(line, Kind::Run, Text(name), where.user);
            }
        }
    }

    void AddStartFolders() {
        const Text folders = KeyBelow(kCurrent, u"Explorer\\Shell Folders");
        const Text common = String(Machine(), folders, u"Common Startup");
        if (!common.empty()) AddStartFolder(ExpandVariables(common, facts_), {});
        for (std::size_t i = 1; i < places_.size(); ++i) {
            MachineFacts facts = facts_;
            AddUserEnvironment(roots_, users_[i - 1], facts);
            Text folder = String(places_[i], folders, u"Startup");
            if (folder.empty()) continue;
            AddStartFolder(ExpandVariables(folder, facts), places_[i].user);
        }
    }

    void AddStartFolder(const Text& given, const Text& user) {
        const auto full = WindowsPath::Full(given, facts_.currentFolder);
        const auto folder = volume_.Find(full.value);
        if (!full.IsOk() || !folder.IsOk()) return;
        const auto entries = volume_.List(folder.value);
        for (const VolumeEntry& entry : entries.value) {
            const Text name = ToLower(WindowsPath::Name(entry.path));
            if (entry.isFolder || name == u"desktop.ini") continue;
            const Text shown(WindowsPath::Name(entry.path));
            if (name.ends_with(u".lnk")) {
                StartLink(entry, full.value, user);
            } else {
                Start(u'"' + entry.path + u'"', Kind::StartFolder, shown, user);
            }
        }
    }

    void StartLink(const VolumeEntry& entry, const Text& folder, const Text& user) {
        const std::string content = ReadBytes(entry.path);
        const auto link =
            ReadShellLink({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()},
                          [this](std::string_view bytes) { return codePage_.Decode(bytes); });
        if (!link) return;
        const Text relative =
            link->relativePath.empty() ? Text() : WindowsPath::Join(folder, link->relativePath);
        for (const Text& target :
             {link->localPath, ExpandVariables(link->environmentPath, facts_), relative}) {
            if (target.empty()) continue;
            const Text line = u'"' + target + u"\" " + link->arguments;
            if (Start(line, Kind::StartFolder, Text(WindowsPath::Name(entry.path)), user)) return;
        }
    }

    // ------------------------------------------------------------ files

    /// Empty for one that can't be read or is too long.
    std::string ReadBytes(const Text& path) {
        const auto entry = volume_.Find(path);
        if (!entry.IsOk() || entry.value.isFolder || entry.value.size > kLongestFile) return {};
        auto file = volume_.OpenToRead(entry.value);
        if (!file.IsOk()) return {};
        Bytes bytes(static_cast<std::size_t>(entry.value.size));
        const auto count = file.value->ReadFile(0, bytes);
        if (!count.IsOk()) return {};
        return {reinterpret_cast<const char*>(bytes.data()), count.value};
    }
    Text ReadWhole(const Text& path) { return codePage_.Decode(ReadBytes(path)); }

    RegistryRoots& roots_;
    Volume& volume_;
    const MachineFacts& facts_;
    CodePage& codePage_;
    CommandPrograms programs_;
    CommandPrograms programs32_;
    bool is32Bit_ = false;
    std::vector<Where> places_;  // the machine, then each user
    std::vector<VolumeUser> users_;
    StartTable table_;
};

}  // namespace

StartTable MakeStartTable(const StartSources& sources) {
    return Builder(sources).Make();
}

}  // namespace bkfd
