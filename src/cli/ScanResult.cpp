#include "cli/ScanResult.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/FileSha256.h"
#include "detection/CPaDetector.h"
#include "identity/CHashier.h"
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
        case Place::Kind::Module:
            break;
    }
    return "module";
}

Json PlaceToJson(const Place& place) {
    return {{"kind", NameOf(place.kind)},
            {"name", TextToJson(place.key.empty() ? place.name : place.key + u'\\' + place.name)},
            {"user", nullptr},
            {"view", nullptr}};
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

Json SettingsToJson(const std::vector<SettingInfo>& settings) {
    Json list = Json::array();
    int number = 0;
    for (const SettingInfo& setting : settings) {
        list.push_back({{"number", ++number},
                        {"description", TextToJson(setting.description)},
                        {"key", TextToJson(RegistryAccess::RootName(setting.place.root) + u'\\' +
                                           Text(setting.place.key))},
                        {"valueName", TextToJson(setting.place.name)},
                        {"value", TextToJson(setting.value)},
                        {"status", TextToJson(setting.status)},
                        {"user", nullptr}});
    }
    return list;
}

}  // namespace

ScanResult Scan(const LoggerRef& logger, bool wantsSuspicious,
                const std::function<std::vector<Unreadable>()>& unreadable) {
    CPaDetector detector;
    detector.Init(logger, nullptr);
    Detection detection = detector.Detect();
    std::vector<Finding> suspicious;
    if (wantsSuspicious) suspicious = detector.FindSuspicious(detection);

    ScanResult result;
    RegistryAccess registry;
    for (int number = 1; number <= kSettingCount; ++number) {
        result.settings.push_back(GetSettingInfo(registry, number));
    }
    result.unreadable = unreadable();  // before more is read for the description only
    result.helperObjectsSeen = detection.helperObjects.size();
    result.startupItemsSeen = detection.startupItems.size();
    result.programsSeen = detection.programs.size();
    result.files = DescribeFiles(std::move(detection.files), logger);
    result.bhos = std::move(detection.bhos);
    result.suspicious = DescribeFiles(std::move(suspicious), logger);
    result.verdict = VerdictOf(result);
    return result;
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
                        {"view", nullptr}});
    }
    document["suspicious"] = FilesToJson(result.suspicious);
    document["settings"] = SettingsToJson(result.settings);
    document["unreadable"] = UnreadableToJson(result.unreadable);
}

}  // namespace bkfd
