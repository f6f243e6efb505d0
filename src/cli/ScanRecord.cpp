#include "cli/ScanRecord.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <set>

#include "cli/HostSha256.h"
#include "platform/Result.h"
#include "platform/files/HostFiles.h"
#include "services/ApplicationState.h"
#include "services/RegistryAccess.h"

namespace bkfd {
namespace {

// ---------------------------------------------------------------- techniques and places

/// Where a kind of place lies in the registry, where its name alone tells, and the technique's
/// number in ATT&CK.
struct PlaceRow {
    Place::Kind kind;
    const char* technique;  // null for none
    TextView key;           // below HKEY_LOCAL_MACHINE; empty where the place tells it itself
    bool isSubkey;          // the name is that of a subkey
    TextView value;         // the value's name; empty for the place's own name
};

constexpr PlaceRow kPlaceRows[] = {
    {Place::Kind::HelperObject, "T1176", kHelperObjectsKey, true, {}},
    {Place::Kind::Startup, "T1547.001", {}, false, {}},
    {Place::Kind::StartFolder, "T1547.001", {}, false, {}},
    {Place::Kind::IniFile, "T1547.001", {}, false, {}},
    {Place::Kind::SessionManager,
     "T1547.001",
     u"System\\CurrentControlSet\\Control\\Session Manager",
     false,
     {}},
    {Place::Kind::Winlogon, "T1547.004", {}, false, {}},
    {Place::Kind::Service, "T1543.003", u"System\\CurrentControlSet\\Services", true, {}},
    {Place::Kind::SecurityPackage, "T1547.005", {}, false, {}},
    {Place::Kind::PrintMonitor, "T1547.010", {}, false, {}},
    {Place::Kind::ScheduledTask, "T1053.005", {}, false, {}},
    {Place::Kind::DelayLoad, "T1547", {}, false, {}},
    {Place::Kind::ActiveSetup,
     "T1547.014",
     u"Software\\Microsoft\\Active Setup\\Installed Components",
     true,
     {}},
    {Place::Kind::OtherRun, "T1547.001", {}, false, {}},
    {Place::Kind::Winsock, nullptr, {}, false, {}},
    {Place::Kind::Debugger,
     "T1546.012",
     u"Software\\Microsoft\\Windows NT\\CurrentVersion\\Image File Execution Options",
     true,
     {}},
    {Place::Kind::AppInit, "T1546.010", u"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows",
     false, u"AppInit_DLLs"},
    {Place::Kind::Process, nullptr, {}, false, {}},
    {Place::Kind::Module, nullptr, {}, false, {}},
};

constexpr const char* kHiddenStream = "T1564.004";
constexpr const char* kModifiedRegistry = "T1112";

constexpr struct {
    TextView root;
    const char* hive;
} kHives[] = {{u"HKEY_LOCAL_MACHINE", "HKLM"},
              {u"HKEY_CURRENT_USER", "HKCU"},
              {u"HKEY_USERS", "HKU"},
              {u"HKEY_CLASSES_ROOT", "HKCR"}};

/// A registry place under the names of the Elastic Common Schema. `key` has its root; a null value
/// stands for the key itself.
Json RegistryToJson(const Text& key, const Text* value) {
    const std::size_t end = std::min(key.find(u'\\'), key.size());
    std::string hive = ToUtf8(key.substr(0, end));
    for (const auto& row : kHives) {
        if (row.root == TextView(key).substr(0, end)) hive = row.hive;
    }
    const Text below = key.substr(std::min(end + 1, key.size()));
    Text path = FromAscii(hive) + u'\\' + below;
    if (value != nullptr) path += u'\\' + *value;
    Json registry = {{"hive", hive}, {"key", TextToJson(below)}};
    if (value != nullptr) registry["value"] = TextToJson(*value);
    registry["path"] = TextToJson(path);
    return registry;
}

/// A key of the machine as the native view has it, both with their roots.
Text NativeName(const Text& key, RegistryView view) {
    const Text root = RegistryAccess::RootName(RegistryRoot::LocalMachine) + u'\\';
    if (!key.starts_with(root)) return key;
    return RegistryAccess::KeyName({RegistryRoot::LocalMachine, view}, key.substr(root.size()));
}

const PlaceRow& RowOf(Place::Kind kind) {
    return *std::ranges::find(kPlaceRows, kind, &PlaceRow::kind);
}

/// With the root, in the native view; empty for a place that is none of the registry, or whose key
/// isn't known.
Text KeyOf(const Place& place) {
    const PlaceRow& row = RowOf(place.kind);
    if (!place.key.empty()) return NativeName(place.key, place.view);
    if (row.key.empty()) return {};
    const Text key = RegistryAccess::KeyName({RegistryRoot::LocalMachine, place.view}, row.key);
    return row.isSubkey ? key + u'\\' + place.name : key;
}

/// Null where there is no key.
Json RegistryOf(const Place& place) {
    const PlaceRow& row = RowOf(place.kind);
    const Text key = KeyOf(place);
    if (key.empty()) return nullptr;
    const bool tellsItself = !place.key.empty();
    if (!tellsItself && row.isSubkey) return RegistryToJson(key, nullptr);
    const Text value = tellsItself || row.value.empty() ? place.name : Text(row.value);
    return RegistryToJson(key, &value);
}

Place PlaceOf(const HelperObject& object) {
    return {Place::Kind::HelperObject, object.clsid, {}, {}, object.view};
}

Text KeyOf(const SettingInfo& setting) {
    return RegistryAccess::KeyName(setting.place.base, setting.place.key);
}

Json TechniqueOf(const Place& place) {
    const char* const technique = RowOf(place.kind).technique;
    return technique == nullptr ? Json() : Json(technique);
}

bool IsStream(const Text& path) {
    const std::size_t name = path.rfind(u'\\');
    return path.find(u':', name == Text::npos ? 0 : name) != Text::npos;
}

Json SignaturesToJson(const MachineSession& session) {
    Json lists = Json::array();
    for (const SignatureListInfo& info : session.SignatureLists()) {
        lists.push_back({{"name", info.name}, {"entries", info.entries}, {"sha256", info.sha256}});
    }
    return lists;
}

Json KnownAs(const MachineSession& session, const FoundFile& file) {
    const KnownFiles::Row* const row =
        session.KnownParasite(file.size, file.hash, file.sha256.value_or(""));
    if (row == nullptr) return nullptr;
    return {{"name", TextToJson(FromUtf8(row->name))},
            {"source", TextToJson(FromUtf8(row->source))}};
}

void AddToFiles(const MachineSession& session, const std::vector<FoundFile>& files, Json& list) {
    for (std::size_t i = 0; i < files.size(); ++i) {
        const Finding& finding = files[i].finding;
        std::set<std::string> techniques;
        if (IsStream(finding.path)) techniques.insert(kHiddenStream);
        for (std::size_t j = 0; j < finding.places.size(); ++j) {
            Json& place = list[i]["places"][j];
            place["registry"] = RegistryOf(finding.places[j]);
            place["technique"] = TechniqueOf(finding.places[j]);
            if (place["technique"].is_string()) techniques.insert(place["technique"]);
        }
        list[i]["techniques"] = techniques;
        list[i]["known"] = KnownAs(session, files[i]);
    }
}

void AddToSettings(const std::vector<FoundSetting>& settings, Json& list) {
    for (std::size_t i = 0; i < settings.size(); ++i) {
        const SettingInfo& info = settings[i].info;
        const Text value(info.place.name);
        list[i]["registry"] = RegistryToJson(KeyOf(info), &value);
        list[i]["technique"] =
            info.status == SettingStatus::kSuspect ? Json(kModifiedRegistry) : Json();
    }
}

void AddToHelperObjects(const std::vector<HelperObject>& objects, Json& list) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
        const Place place = PlaceOf(objects[i]);
        list[i]["registry"] = RegistryOf(place);
        list[i]["technique"] = TechniqueOf(place);
    }
}

// ---------------------------------------------------------------- what the scan was made from

/// Below the machine's folder, with slashes.
std::string RelativeTo(const std::string& folder, const std::string& path) {
    return path.starts_with(folder + '/') ? path.substr(folder.size() + 1) : path;
}

/// The files that hold the registry, in the order of their names, and the hash of what sha256sum
/// prints of them.
Json InputToJson(const MachineSession& session) {
    std::vector<std::pair<std::string, std::string>> files;  // name, host path
    for (const std::string& path : session.RegistryFiles()) {
        files.emplace_back(RelativeTo(session.HostFolder(), path), path);
    }
    std::ranges::sort(files);
    Json list = Json::array();
    std::string lines;
    for (const auto& [name, path] : files) {
        struct stat facts {};
        const bool isThere = stat(path.c_str(), &facts) == 0;
        if (isThere && !S_ISREG(facts.st_mode)) continue;
        const auto hash = HostFileSha256(path);
        lines += hash.value_or("-") + "  " + name + '\n';
        list.push_back({{"name", TextToJson(FromHostName(name))},
                        {"size", isThere ? facts.st_size : 0},
                        {"sha256", hash ? Json(*hash) : Json()}});
    }
    return {{"sha256", TextSha256(lines)}, {"files", std::move(list)}};
}

std::string UtcText(const timespec& time) {
    tm parts{};
    gmtime_r(&time.tv_sec, &parts);
    char text[32];
    (void)strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

/// A key with its root, and whose it is.
using OwnedKey = std::pair<Text, Text>;

/// Of all that was found, each once, in the order of the findings.
std::vector<OwnedKey> KeysOf(const ScanResult& result) {
    std::vector<OwnedKey> keys;
    std::set<OwnedKey> known;
    const auto add = [&](const Text& key, const Text& user) {
        if (!key.empty() && known.insert({key, user}).second) keys.emplace_back(key, user);
    };
    for (const auto* list : {&result.files, &result.suspicious}) {
        for (const FoundFile& file : *list) {
            for (const Place& place : file.finding.places) add(KeyOf(place), place.user);
        }
    }
    for (const HelperObject& object : result.bhos) add(KeyOf(PlaceOf(object)), {});
    for (const FoundSetting& setting : result.settings) {
        if (setting.info.status == SettingStatus::kSuspect) add(KeyOf(setting.info), setting.user);
    }
    return keys;
}

std::optional<std::int64_t> LastWritten(const MachineSession& session, const OwnedKey& owned) {
    constexpr RegistryRoot kRoots[] = {RegistryRoot::LocalMachine, RegistryRoot::CurrentUser};
    const auto& [key, user] = owned;
    for (const RegistryRoot root : kRoots) {
        const Text name = RegistryAccess::RootName(root) + u'\\';
        if (key.starts_with(name)) {
            return session.KeyLastWritten(root, key.substr(name.size()), user);
        }
    }
    return std::nullopt;
}

Json KeyTimesToJson(const MachineSession& session, const ScanResult& result) {
    constexpr std::int64_t kYear10000 = 253'402'300'800;  // has more digits than a time has
    Json keys = Json::array();
    for (const OwnedKey& owned : KeysOf(result)) {
        const auto seconds = LastWritten(session, owned);
        if (!seconds || *seconds >= kYear10000) continue;
        keys.push_back({{"path", RegistryToJson(owned.first, nullptr)["path"]},
                        {"user", owned.second.empty() ? Json() : TextToJson(owned.second)},
                        {"modified", UtcText({*seconds, 0})}});
    }
    return keys;
}

Json TimesToJson(const MachineSession& session, const ScanResult& result) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    Json files = Json::array();
    for (const auto* list : {&result.files, &result.suspicious}) {
        for (const FoundFile& file : *list) {
            const auto host = session.HostPath(file.finding.path);
            struct stat facts {};
            if (!host || stat(host->c_str(), &facts) != 0) continue;
            files.push_back(
                {{"path", TextToJson(file.finding.path)}, {"modified", UtcText(facts.st_mtim)}});
        }
    }
    return {{"scanned", UtcText(now)},
            {"files", std::move(files)},
            {"keys", KeyTimesToJson(session, result)}};
}

// ---------------------------------------------------------------- what could not be read

/// The text without the host's path in front of the machine's own.
Text WithoutHost(const Text& text, const std::string& folder) {
    return Replace(text, FromHostName(folder) + u'/', {});
}

Json UnreadableOf(const ScanResult& result, const std::string& folder) {
    std::vector<Unreadable> list = result.unreadable;
    for (Unreadable& entry : list) {
        if (entry.code == SystemError::NotEnoughMemory) {
            throw PassingError(ToUtf8(entry.name + u": " + entry.error));
        }
        entry.name = WithoutHost(entry.name, folder);
        entry.error = WithoutHost(entry.error, folder);
    }
    return UnreadableToJson(list);
}

}  // namespace

Json MakeRecord(const MachineSession& session, const ScanResult& result,
                const RecordOptions& options) {
    Json record = session.NewDocument();
    if (!options.name.empty()) record["machine"]["name"] = TextToJson(FromHostName(options.name));
    record["program"] = ToUtf8(ProgramVersion());
    record["signatures"] = SignaturesToJson(session);
    record["input"] = InputToJson(session);
    AddToDocument(result, record);
    AddToFiles(session, result.files, record["files"]);
    AddToFiles(session, result.suspicious, record["suspicious"]);
    AddToHelperObjects(result.bhos, record["bhos"]);
    AddToSettings(result.settings, record["settings"]);
    record["unreadable"] = UnreadableOf(result, session.HostFolder());
    if (options.wantsTimes) record["times"] = TimesToJson(session, result);
    return record;
}

bool IsShortOfResources(const std::string& folder) {
    constexpr int kPassing[] = {EMFILE, ENFILE, ENOMEM,    EAGAIN,   EINTR,     EBUSY,
                                EIO,    ESTALE, ETIMEDOUT, ENOTCONN, EHOSTDOWN, EHOSTUNREACH};
    errno = 0;
    const HostFile opened(OpenUntouched(folder, O_DIRECTORY));
    return !opened.IsOpen() && std::ranges::find(kPassing, errno) != std::end(kPassing);
}

}  // namespace bkfd
