#include "cli/ScanResult.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/IgnoredThings.h"
#include "detection/CPaDetector.h"
#include "identity/CHashier.h"
#include "identity/FileSha256.h"
#include "platform/Machine.h"
#include "services/FileUtil.h"

namespace bkfd {
namespace {

/// A file that may not be asked for is there all the same.
bool Exists(const Text& path) {
    const auto attributes = TheMachine().FileSystem().GetFileAttributesW(path);
    if (!attributes.IsOk()) return !attributes.IsNotThere();
    return (attributes.value & FileAttribute::Directory) == 0;
}

FoundFile DescribeFile(Finding finding, CFileInfoManager& information) {
    FoundFile found;
    found.exists = Exists(finding.path);
    found.isFolder = FileUtil::FolderExists(finding.path);
    found.hash = gHashier->HashFromFullFileName(finding.path, found.size);
    found.sha256 = FileSha256(finding.path);
    information.GetFileInfo(finding.path, found.company, found.description);
    found.finding = std::move(finding);
    return found;
}

std::vector<FoundFile> DescribeFiles(std::vector<Finding> findings, const LoggerRef& logger) {
    CFileInfoManager information;
    information.Init(logger);
    std::vector<FoundFile> files;
    files.reserve(findings.size());
    for (Finding& finding : findings) {
        files.push_back(DescribeFile(std::move(finding), information));
    }
    return files;
}

Verdict VerdictOf(const ScanResult& result) {
    if (!result.files.empty() || !result.bhos.empty()) return Verdict::Parasites;
    const bool isIncomplete =
        std::any_of(result.unreadable.begin(), result.unreadable.end(),
                    [](const Unreadable& entry) { return entry.MakesIncomplete(); });
    return isIncomplete ? Verdict::Incomplete : Verdict::Clean;
}

const char* NameOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::Clean:
            return "clean";
        case Verdict::Parasites:
            return "parasites";
        case Verdict::Incomplete:
            break;
    }
    return "incomplete";
}

const char* NameOf(Reason reason) {
    switch (reason) {
        case Reason::HelperObject:
            return "helper-object";
        case Reason::StartupNonamer:
            return "startup-nonamer";
        case Reason::Process:
            return "process";
        case Reason::Module:
            break;
    }
    return "module";
}

const char* NameOf(Place::Kind kind) {
    switch (kind) {
        case Place::Kind::HelperObject:
            return "helper-object";
        case Place::Kind::Startup:
            return "startup";
        case Place::Kind::Process:
            return "process";
        case Place::Kind::SessionManager:
            return "session-manager";
        case Place::Kind::Winlogon:
            return "winlogon";
        case Place::Kind::Service:
            return "service";
        case Place::Kind::SecurityPackage:
            return "security-package";
        case Place::Kind::PrintMonitor:
            return "print-monitor";
        case Place::Kind::ScheduledTask:
            return "scheduled-task";
        case Place::Kind::DelayLoad:
            return "delay-load";
        case Place::Kind::AppInit:
            return "app-init";
        case Place::Kind::ActiveSetup:
            return "active-setup";
        case Place::Kind::OtherRun:
            return "run";
        case Place::Kind::StartFolder:
            return "start-folder";
        case Place::Kind::IniFile:
            return "ini-file";
        case Place::Kind::Winsock:
            return "winsock";
        case Place::Kind::Debugger:
            return "debugger";
        case Place::Kind::Module:
            break;
    }
    return "module";
}

Json UserToJson(const Text& user) {
    return user.empty() ? Json() : TextToJson(user);
}

Json PlaceToJson(const Place& place) {
    return {{"kind", NameOf(place.kind)},
            {"name", TextToJson(place.key.empty() ? place.name : place.key + u'\\' + place.name)},
            {"user", UserToJson(place.user)},
            {"view", ViewToJson(place.view)}};
}

Json FilesToJson(const std::vector<FoundFile>& files) {
    Json list = Json::array();
    for (const FoundFile& file : files) {
        Json reasons = Json::array();
        for (const Reason reason : file.finding.reasons) reasons.push_back(NameOf(reason));
        Json places = Json::array();
        for (const Place& place : file.finding.places) places.push_back(PlaceToJson(place));
        list.push_back({{"path", TextToJson(file.finding.path)},
                        {"reasons", std::move(reasons)},
                        {"places", std::move(places)},
                        {"exists", file.exists},
                        {"size", file.size},
                        {"hash", file.hash},
                        {"sha256", file.sha256 ? Json(*file.sha256) : Json()},
                        {"company", TextToJson(file.company)},
                        {"description", TextToJson(file.description)}});
    }
    return list;
}

Json SettingsToJson(const std::vector<FoundSetting>& settings) {
    Json list = Json::array();
    for (const auto& [number, info, user] : settings) {
        list.push_back({{"number", number},
                        {"description", TextToJson(info.description)},
                        {"key", TextToJson(RegistryAccess::RootName(info.place.base.root) + u'\\' +
                                           Text(info.place.key))},
                        {"valueName", TextToJson(info.place.name)},
                        {"value", TextToJson(info.value)},
                        {"status", TextToJson(info.status)},
                        {"user", UserToJson(user)}});
        AddView(info.place.base.view, list.back());
    }
    return list;
}

template <class Item>
void AddNew(std::vector<Item>& list, Item item) {
    if (std::ranges::find(list, item) == list.end()) list.push_back(std::move(item));
}

/// What the passes of all users have found together.
class AllUsers {
  public:
    AllUsers(const LoggerRef& logger, bool wantsSuspicious)
        : wantsSuspicious_(wantsSuspicious), passOver_(logger) {}

    void Look(const LoggerRef& logger, const Text& user) {
        CPaDetector detector;
        detector.Init(logger, nullptr);
        Detection detection = detector.Detect();
        std::vector<Finding> suspicious;
        if (wantsSuspicious_) suspicious = detector.FindSuspicious(detection);
        Count(detection);
        AddIgnored(result_.ignored, passOver_.TakeFrom(detection));
        AddIgnored(result_.ignored, passOver_.TakeFrom(suspicious, detection.helperObjects));
        Merge(suspicious_, std::move(suspicious), user);
        Merge(files_, std::move(detection.files), user);
        for (HelperObject& object : detection.bhos) AddHelperObject(std::move(object));
        AddSettings(user);
        isFirst_ = false;
    }

    void AddStartPlaces(const std::vector<StartPlace>& places) {
        for (const StartPlace& place : places) {
            const auto kind = KindOf(place.kind);
            if (!kind) continue;
            for (std::vector<Finding>* findings : {&files_, &suspicious_}) {
                const auto found = FindPath(*findings, place.file);
                if (found == findings->end()) continue;
                // The places of what starts a file stand before those of programs.
                Place added{*kind, place.name, {}, place.user};
                found->places.insert(found->places.begin(), std::move(added));
            }
        }
    }

    ScanResult Describe(const LoggerRef& logger, std::vector<Unreadable> unreadable) {
        result_.unreadable = std::move(unreadable);
        std::erase_if(suspicious_, [this](const Finding& finding) {
            return FindPath(files_, finding.path) != files_.end();
        });
        DropFoundFromIgnored();
        result_.files = DescribeFiles(std::move(files_), logger);
        result_.suspicious = DescribeFiles(std::move(suspicious_), logger);
        result_.verdict = VerdictOf(result_);
        return std::move(result_);
    }

  private:
    static bool IsUsers(RegistryRoot root) { return root == RegistryRoot::CurrentUser; }

    static std::vector<Finding>::iterator FindPath(std::vector<Finding>& findings,
                                                   const Text& path) {
        return std::ranges::find_if(
            findings, [&](const Finding& finding) { return EqualsIgnoreCase(finding.path, path); });
    }

    /// Nothing for those that the inventories have.
    static std::optional<Place::Kind> KindOf(StartPlace::Kind kind) {
        switch (kind) {
            case StartPlace::Kind::SessionManager:
                return Place::Kind::SessionManager;
            case StartPlace::Kind::Winlogon:
                return Place::Kind::Winlogon;
            case StartPlace::Kind::Service:
                return Place::Kind::Service;
            case StartPlace::Kind::SecurityPackage:
                return Place::Kind::SecurityPackage;
            case StartPlace::Kind::PrintMonitor:
                return Place::Kind::PrintMonitor;
            case StartPlace::Kind::ScheduledTask:
                return Place::Kind::ScheduledTask;
            case StartPlace::Kind::DelayLoad:
                return Place::Kind::DelayLoad;
            case StartPlace::Kind::AppInit:
                return Place::Kind::AppInit;
            case StartPlace::Kind::ActiveSetup:
                return Place::Kind::ActiveSetup;
            case StartPlace::Kind::OtherRun:
                return Place::Kind::OtherRun;
            case StartPlace::Kind::StartFolder:
                return Place::Kind::StartFolder;
            case StartPlace::Kind::IniFile:
                return Place::Kind::IniFile;
            case StartPlace::Kind::Winsock:
                return Place::Kind::Winsock;
            case StartPlace::Kind::Debugger:
                return Place::Kind::Debugger;
            case StartPlace::Kind::Run:
            case StartPlace::Kind::HelperObject:
                break;
        }
        return std::nullopt;
    }

    static void Merge(std::vector<Finding>& all, std::vector<Finding> found, const Text& user) {
        const Text usersRoot = RegistryAccess::RootName(RegistryRoot::CurrentUser);
        for (Finding& finding : found) {
            for (Place& place : finding.places) {
                if (place.key.starts_with(usersRoot)) place.user = user;
            }
            const auto known = FindPath(all, finding.path);
            if (known == all.end()) {
                all.push_back(std::move(finding));
                continue;
            }
            for (const Reason reason : finding.reasons) AddNew(known->reasons, reason);
            for (Place& place : finding.places) AddNew(known->places, std::move(place));
        }
    }

    void Count(const Detection& detection) {
        const auto ofUser = static_cast<std::size_t>(
            std::ranges::count_if(detection.startupItems,
                                  [](const StartupItem& item) { return IsUsers(item.base.root); }));
        result_.startupItemsSeen += isFirst_ ? detection.startupItems.size() : ofUser;
        result_.helperObjectsSeen =
            std::max(result_.helperObjectsSeen, detection.helperObjects.size());
        result_.programsSeen = std::max(result_.programsSeen, detection.programs.size());
    }

    /// The same class may be another file to another user.
    void AddHelperObject(HelperObject object) {
        const bool isKnown = std::ranges::any_of(result_.bhos, [&](const HelperObject& known) {
            return EqualsIgnoreCase(known.clsid, object.clsid) &&
                   EqualsIgnoreCase(known.file, object.file) && known.view == object.view;
        });
        if (!isKnown) result_.bhos.push_back(std::move(object));
    }

    /// What one user's place speaks for, another's may speak against.
    void DropFoundFromIgnored() {
        std::erase_if(result_.ignored, [this](const PassedOver& it) {
            if (it.kind == PassedOver::Kind::File) return FindPath(files_, it.path) != files_.end();
            return std::ranges::any_of(result_.bhos, [&](const HelperObject& object) {
                return object.view == it.view && EqualsIgnoreCase(object.clsid, it.clsid);
            });
        });
    }

    void AddSettings(const Text& user) {
        RegistryAccess registry;
        for (const auto& [number, view] : AllSettings()) {
            FoundSetting setting{number, GetSettingInfo(registry, number, view), {}};
            const bool isUsers = IsUsers(setting.info.place.base.root);
            if (!isFirst_ && !isUsers) continue;
            if (isUsers) setting.user = user;
            result_.settings.push_back(std::move(setting));
        }
    }

    bool wantsSuspicious_;
    bool isFirst_ = true;
    PassOver passOver_;
    std::vector<Finding> files_;
    std::vector<Finding> suspicious_;
    ScanResult result_;
};

}  // namespace

ScanResult Scan(const ScanSources& sources, bool wantsSuspicious) {
    AllUsers all(sources.logger, wantsSuspicious);
    sources.forEachUser([&](const Text& user) { all.Look(sources.logger, user); });
    all.AddStartPlaces(sources.startPlaces);
    // Before more is read for the description only.
    std::vector<Unreadable> unreadable = sources.unreadable();
    return all.Describe(sources.logger, std::move(unreadable));
}

ScanResult Scan(MachineSession& session, bool wantsSuspicious) {
    return Scan({session.Log(), [&](const auto& work) { session.ForEachUser(work); },
                 session.StartPlaces(), [&] { return session.CollectUnreadable(); }},
                wantsSuspicious);
}

int ExitCodeOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::Clean:
            return ExitCode::Done;
        case Verdict::Parasites:
            return ExitCode::Parasites;
        case Verdict::Incomplete:
            break;
    }
    return ExitCode::Incomplete;
}

void AddToDocument(const ScanResult& result, Json& document) {
    document["verdict"] = NameOf(result.verdict);
    document["files"] = FilesToJson(result.files);
    Json& bhos = document["bhos"] = Json::array();
    for (const HelperObject& object : result.bhos) {
        bhos.push_back({{"clsid", TextToJson(object.clsid)},
                        {"name", TextToJson(object.name)},
                        {"file", TextToJson(object.file)},
                        {"user", nullptr},
                        {"view", ViewToJson(object.view)}});
    }
    document["suspicious"] = FilesToJson(result.suspicious);
    document["settings"] = SettingsToJson(result.settings);
    document["ignored"] = IgnoredToJson(result.ignored);
    document["unreadable"] = UnreadableToJson(result.unreadable);
}

}  // namespace bkfd
