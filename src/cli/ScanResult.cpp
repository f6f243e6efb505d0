#include "cli/ScanResult.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/StartedBy.h"
#include "detection/CBHOManager.h"
#include "detection/CPaDetector.h"
#include "detection/CStartupManager.h"
#include "identity/CHashier.h"
#include "processes/CProcessManager.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

/// The inventories in which a found file may show itself.
struct Inventories {
    std::shared_ptr<ItemList> helpers;
    std::shared_ptr<ItemList> startup;
    std::shared_ptr<ItemList> processes;
};

/// The trace lines of the detection that tell why a file was found.
struct Reason {
    const char16_t* line;
    const char* why;
};
constexpr Reason kReasons[] = {
    {u"RunningStartupNonamer found: ", "starts with Windows, runs, and names no company"},
    {u"Running parasite process: ", "runs, and is known or looks like a parasite"},
    {u"Running parasite module: ", "is loaded, and is known or looks like a parasite"},
};
// Helper objects are judged without a trace line.
constexpr const char* kHelperReason = "is a helper object that names no company";

Inventories TakeInventories(const LoggerRef& logger) {
    Inventories inventories;
    CBHOManager helpers;
    helpers.Init(logger);
    inventories.helpers = helpers.EnumBHOs();
    CStartupManager startup;
    startup.Init(logger);
    inventories.startup = startup.EnumItems();
    CProcessManager processes;
    processes.Init(logger);
    processes.EnumProcs(inventories.processes);
    for (auto* list : {&inventories.helpers, &inventories.startup, &inventories.processes}) {
        if (*list == nullptr) *list = std::make_shared<ItemList>();
    }
    return inventories;
}

std::size_t CountOf(const ItemList& list) {
    return static_cast<std::size_t>(std::distance(list.begin(), list.end()));
}

Text ParameterOf(ItemNode& node, TextView name) {
    return node.params().Exists(name) ? node.params(name).Values(1).AsText() : Text();
}

std::string WhyFound(const Text& file, const std::vector<MemoryLog::Line>& lines) {
    for (const MemoryLog::Line& line : lines) {
        for (const Reason& reason : kReasons) {
            if (line.message == reason.line + file) return reason.why;
        }
    }
    return kHelperReason;
}

std::string LastComponent(const Text& path) {
    return PrintableText(path.substr(FindLast(path, u"\\")));
}

void AddProcessPlaces(const Text& file, ItemNode& process, std::vector<std::string>& places) {
    if (EqualsIgnoreCase(process.Id, file)) {
        places.push_back("running program");
        return;  // on the 95 family a program is listed among its own modules
    }
    for (const auto& module : process.Children()) {
        if (EqualsIgnoreCase(module->Id, file)) {
            places.push_back("module of " + LastComponent(process.Id));
        }
    }
}

std::vector<std::string> PlacesOf(const Text& file, const Inventories& inventories) {
    std::vector<std::string> places;
    for (const auto& helper : *inventories.helpers) {
        if (EqualsIgnoreCase(ParameterOf(*helper, u"DLL"), file)) {
            places.push_back("helper object " + PrintableText(helper->Id));
        }
    }
    for (const auto& item : *inventories.startup) {
        if (EqualsIgnoreCase(ParameterOf(*item, u"DLL"), file)) {
            places.push_back("started by " + StartedBy(*item));
        }
    }
    for (const auto& process : *inventories.processes) AddProcessPlaces(file, *process, places);
    return places;
}

FoundFile DescribeFile(const Text& file, MachineSession& session, const Inventories& inventories) {
    FoundFile found;
    found.path = file;
    found.why = WhyFound(file, session.LogLines());
    found.places = PlacesOf(file, inventories);
    found.hash = gHashier->HashFromFullFileName(file, found.size);
    CFileInfoManager information;
    information.Init(session.Log());
    Text description;
    information.GetFileInfo(file, found.manufacturer, description);
    return found;
}

FoundHelper DescribeHelper(const Text& clsid, const ItemList& helpers) {
    FoundHelper found{clsid, {}, {}};
    for (const auto& helper : helpers) {
        if (!EqualsIgnoreCase(helper->Id, clsid)) continue;
        found.name = ParameterOf(*helper, u"Name");
        found.file = ParameterOf(*helper, u"DLL");
        break;
    }
    return found;
}

Verdict VerdictOf(const ScanResult& result) {
    if (!result.files.empty() || !result.helpers.empty()) return Verdict::Parasites;
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

ScanResult Scan(MachineSession& session, bool wantsSuspicious) {
    CPaDetector detector;
    detector.Init(session.Log(), nullptr);
    KeyedList files;
    KeyedList helpers;
    detector.DetectParasites(files, helpers);

    ScanResult result;
    if (wantsSuspicious) {
        KeyedList suspicious;
        detector.DetectSuspiciousFiles(suspicious);
        for (const Variant& file : suspicious) result.suspicious.push_back(file.AsText());
    }
    // Before more is read for the description only.
    result.unreadable = session.CollectUnreadable();
    const Inventories inventories = TakeInventories(session.Log());
    for (const Variant& file : files) {
        result.files.push_back(DescribeFile(file.AsText(), session, inventories));
    }
    for (const Variant& clsid : helpers) {
        result.helpers.push_back(DescribeHelper(clsid.AsText(), *inventories.helpers));
    }
    result.helpersSeen = CountOf(*inventories.helpers);
    result.startupItemsSeen = CountOf(*inventories.startup);
    result.processesSeen = CountOf(*inventories.processes);
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
    for (const FoundFile& file : result.files) files.push_back(TextToJson(file.path));
    Json helpers = Json::array();
    for (const FoundHelper& helper : result.helpers) helpers.push_back(TextToJson(helper.clsid));
    Json suspicious = Json::array();
    for (const Text& file : result.suspicious) suspicious.push_back(TextToJson(file));
    return {{"verdict", NameOf(result.verdict)},
            {"files", std::move(files)},
            {"bhos", std::move(helpers)},
            {"suspicious", std::move(suspicious)},
            {"unreadable", UnreadableToJson(result.unreadable)}};
}

}  // namespace bkfd
