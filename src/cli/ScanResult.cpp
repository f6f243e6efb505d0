#include "cli/ScanResult.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "detection/CPaDetector.h"
#include "identity/CHashier.h"
#include "platform/Machine.h"

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
    found.hash = gHashier->HashFromFullFileName(finding.path, found.size);
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

}  // namespace

ScanResult Scan(const LoggerRef& logger, bool wantsSuspicious,
                const std::function<std::vector<Unreadable>()>& unreadable) {
    CPaDetector detector;
    detector.Init(logger, nullptr);
    Detection detection = detector.Detect();
    std::vector<Finding> suspicious;
    if (wantsSuspicious) suspicious = detector.FindSuspicious(detection);

    ScanResult result;
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

Json ScanToJson(const ScanResult& result) {
    Json files = Json::array();
    for (const FoundFile& file : result.files) files.push_back(TextToJson(file.finding.path));
    Json helpers = Json::array();
    for (const HelperObject& helper : result.bhos) helpers.push_back(TextToJson(helper.clsid));
    Json suspicious = Json::array();
    for (const FoundFile& file : result.suspicious) {
        suspicious.push_back(TextToJson(file.finding.path));
    }
    return {{"verdict", NameOf(result.verdict)},
            {"files", std::move(files)},
            {"bhos", std::move(helpers)},
            {"suspicious", std::move(suspicious)},
            {"unreadable", UnreadableToJson(result.unreadable)}};
}

}  // namespace bkfd
