#include "platform/volume/StartBuilder.h"

#include <algorithm>

#include "base/Utf16Bytes.h"
#include "platform/RegistryValues.h"
#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

using Kind = StartPlace::Kind;

/// Identifiers are multiples of 4; the first ones are the system's own.
constexpr std::uint32_t kFirstId = 256;
constexpr std::uint32_t kIdStep = 4;
constexpr std::uint64_t kLongestFile = 1 << 20;  // of links, tasks and .ini files
constexpr int kDeepestArguments = 4;             // programs that are started by one another

}  // namespace

Text KeyOfView(TextView key, bool isFor32) {
    constexpr TextView kSoftware = u"Software\\";
    if (!isFor32) return Text(key);
    return Text(kSoftware) + u"Wow6432Node\\" + Text(key.substr(kSoftware.size()));
}

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

std::vector<Text> TextsOf(const RegistryValue& value) {
    const bool isList = value.type == RegistryType::MultiString;
    return isList ? Parts(FromUtf16Bytes(value.data), TextView(u"\0", 1))
                  : Parts(TextOfValue(value), u" ,");
}

StartBuilder::StartBuilder(const StartSources& sources)
    : roots_(sources.roots), volume_(sources.volume), codePage_(sources.codePage) {
    accounts_.emplace_back(RegistryRoot::LocalMachine, Text(), Text(), sources.facts, volume_);
    for (const VolumeUser& user : sources.users) {
        MachineFacts facts = sources.facts;
        AddUserEnvironment(roots_, user, facts);
        accounts_.emplace_back(RegistryRoot::Users, user.key + u'\\', user.name, std::move(facts),
                               volume_);
    }
}

std::vector<StartAccount*> StartBuilder::LoggedOn(StartAccount& account) {
    std::vector<StartAccount*> users;
    if (&account != &Machine() || accounts_.size() == 1) return {&account};
    for (std::size_t i = 1; i < accounts_.size(); ++i) users.push_back(&accounts_[i]);
    return users;
}

// ---------------------------------------------------------------- the table

ProcessRecord& StartBuilder::Process(const Text& path, const Text& reported) {
    const auto known = std::ranges::find_if(
        programs_, [&](const Text& program) { return EqualsIgnoreCase(program, path); });
    if (known != programs_.end()) {
        return table_.processes[static_cast<std::size_t>(known - programs_.begin())];
    }
    programs_.push_back(path);
    ProcessRecord record;
    record.id = kFirstId + kIdStep * static_cast<std::uint32_t>(table_.processes.size());
    record.path = reported.empty() ? path : reported;
    return table_.processes.emplace_back(std::move(record));
}

void StartBuilder::StartFile(const Text& path, const Text& reported) {
    (void)Process(path, reported);
    StartDebugger(Machine(), path);
}

void StartBuilder::AddModule(ProcessRecord& process, const Text& library) {
    const bool isThere = std::ranges::any_of(
        process.modules, [&](const Text& module) { return EqualsIgnoreCase(module, library); });
    if (!isThere) process.modules.push_back(library);
}

void StartBuilder::AddPlace(const StartReason& reason, const Text& file) {
    StartPlace place{reason.kind, reason.name, file, reason.user};
    const bool isKnown = std::ranges::any_of(table_.places, [&](const StartPlace& known) {
        return known.kind == place.kind && known.name == place.name && known.user == place.user &&
               EqualsIgnoreCase(known.file, place.file);
    });
    if (!isKnown) table_.places.push_back(std::move(place));
}

bool StartBuilder::Start(StartAccount& account, TextView line, const StartReason& reason,
                         CommandUse use) {
    const auto started = account.programs.Of(account.facts.ExpandVariables(line), use);
    if (!started) return false;
    ProcessRecord& process = Process(started->path);
    if (started->library) AddModule(process, *started->library);
    AddPlace(reason,
             started->library ? *started->library : started->script.value_or(started->path));
    StartDebugger(account, started->path);
    StartArgument(account, *started, reason);
    return true;
}

/// "Explorer.exe bad.exe" and "cmd /c bad.exe" start both.
void StartBuilder::StartArgument(StartAccount& account, const StartedProgram& program,
                                 const StartReason& reason) {
    TextView line = program.arguments;
    const TextView name = WindowsPath::Name(program.path);
    bool startsOthers = EqualsIgnoreCase(name, u"explorer.exe");
    if (EqualsIgnoreCase(name, u"cmd.exe") || EqualsIgnoreCase(name, u"command.com")) {
        const Text option = ToLower(line.substr(0, 3));
        startsOthers = option == u"/c " || option == u"/k ";
        line.remove_prefix(option.size());
    }
    if (!startsOthers || line.empty() || argumentsDeep_ >= kDeepestArguments) return;
    ++argumentsDeep_;
    (void)Start(account, line, reason, {true, false});
    --argumentsDeep_;
}

/// The program itself stays in the table, since the debugger may start it.
void StartBuilder::StartDebugger(StartAccount& account, const Text& program) {
    const Text name(WindowsPath::Name(program));
    const Text key = KeyBelow(StartKey::CurrentNT, u"Image File Execution Options\\" + Text(name));
    const Text line = String(Machine(), key, u"Debugger");
    if (line.empty()) return;
    const auto started = account.programs.Of(account.facts.ExpandVariables(line));
    if (!started) return;
    (void)Process(started->path);
    AddPlace({Kind::Debugger, name}, started->path);
}

void StartBuilder::StartAtLogon(StartAccount& account, TextView line, StartReason reason,
                                bool isFor32) {
    reason.user = account.user;
    for (StartAccount* user : LoggedOn(account)) (void)Start(*user, line, reason, {true, isFor32});
}

void StartBuilder::Load(StartAccount& account, const std::optional<Text>& program, TextView library,
                        const StartReason& reason, bool isFor32) {
    const auto file =
        account.programs.File(account.facts.ExpandVariables(library), u".dll", {false, isFor32});
    if (!file || !program) return;
    AddPlace(reason, *file);
    AddModule(Process(*program), *file);
}

// ---------------------------------------------------------------- the registry

RegistryValue StartBuilder::Value(const StartAccount& account, TextView key, TextView name) {
    const auto value = roots_.QueryValue(account.root, account.Key(key), name);
    return value.IsOk() ? value.value : RegistryValue();
}

Text StartBuilder::String(const StartAccount& account, TextView key, TextView name) {
    return TextOfValue(Value(account, key, name));
}

std::optional<std::uint32_t> StartBuilder::Number(TextView machineKey, TextView name) {
    return NumberOfValue(Value(Machine(), machineKey, name));
}

std::vector<Text> StartBuilder::Names(const StartAccount& account, TextView key) {
    auto names = roots_.EnumValues(account.root, account.Key(key));
    return names.IsOk() ? std::move(names.value) : std::vector<Text>();
}

std::vector<Text> StartBuilder::Keys(const StartAccount& account, TextView key) {
    auto keys = roots_.EnumKeys(account.root, account.Key(key));
    return keys.IsOk() ? std::move(keys.value) : std::vector<Text>();
}

Text StartBuilder::LibraryOf(const StartAccount& account, const Text& clsid, bool isFor32) {
    const Text classes = isFor32 ? u"Software\\Classes\\Wow6432Node" : u"Software\\Classes";
    const Text key = classes + u"\\CLSID\\" + clsid + u"\\InProcServer32";
    Text library = String(account, key, {});
    return library.empty() ? String(Machine(), key, {}) : library;
}

// ---------------------------------------------------------------- files

std::vector<VolumeEntry> StartBuilder::List(const Text& folder) {
    const auto full = WindowsPath::Full(folder, Facts().currentFolder);
    if (folder.empty() || !full.IsOk()) return {};
    const auto found = volume_.Find(full.value);
    if (!found.IsOk() || !found.value.isFolder) return {};
    auto entries = volume_.List(found.value);
    return entries.IsOk() ? std::move(entries.value) : std::vector<VolumeEntry>();
}

std::string StartBuilder::ReadBytes(const Text& path) {
    const auto entry = volume_.Find(path);
    if (!entry.IsOk() || entry.value.isFolder || entry.value.size > kLongestFile) return {};
    auto file = volume_.OpenToRead(entry.value);
    if (!file.IsOk()) return {};
    Bytes bytes(static_cast<std::size_t>(entry.value.size));
    const auto count = file.value->ReadFile(0, bytes);
    if (!count.IsOk()) return {};
    return {reinterpret_cast<const char*>(bytes.data()), count.value};
}

}  // namespace bkfd
