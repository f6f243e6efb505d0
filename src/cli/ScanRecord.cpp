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

/// Null for a place that is none of the registry, or whose key isn't known.
Json RegistryOf(const Place& place) {
    const PlaceRow& row = RowOf(place.kind);
    if (!place.key.empty()) return RegistryToJson(NativeName(place.key, place.view), &place.name);
    if (row.key.empty()) return nullptr;
    const Text key = RegistryAccess::KeyName({RegistryRoot::LocalMachine, place.view}, row.key);
    if (row.isSubkey) return RegistryToJson(key + u'\\' + place.name, nullptr);
    const Text value = row.value.empty() ? place.name : Text(row.value);
    return RegistryToJson(key, &value);
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
        const Text key = RegistryAccess::KeyName(info.place.base, info.place.key);
        const Text value(info.place.name);
        list[i]["registry"] = RegistryToJson(key, &value);
        list[i]["technique"] =
            info.status == SettingStatus::kSuspect ? Json(kModifiedRegistry) : Json();
    }
}

void AddToHelperObjects(const std::vector<HelperObject>& objects, Json& list) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
        const Place place{Place::Kind::HelperObject, objects[i].clsid, {}, {}, objects[i].view};
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
    return {{"scanned", UtcText(now)}, {"files", std::move(files)}};
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
