#include "detection/DetectionPass.h"

#include <unordered_set>

#include "base/RuntimeError.h"
#include "detection/CBHOManager.h"
#include "detection/CPaDetector.h"
#include "detection/CStartupManager.h"
#include "platform/RegistryViews.h"

namespace bkfd {
namespace {

/// How the NT family reports the programs that the kernel starts.
constexpr TextView kNativePrefix = u"\\??\\";

const Text kDetectParasites = u"CPaDetector.DetectParasites";

/// The inventory for a walk over it; a failed one ends the pass.
template <class List>
List Inventory(std::optional<List> list) {
    if (!list) throw RuntimeError(ErrorNumber::ObjectNotSet);
    return *std::move(list);
}

/// A startup item whose maker could not be asked for ends the pass.
const StartupItem& Known(const StartupItem& item) {
    if (!item.isRead) throw RuntimeError(ErrorNumber::InvalidProcedureCall);
    return item;
}

Place PlaceOf(const RunningProgram& program, bool isProgram) {
    return {isProgram ? Place::Kind::Process : Place::Kind::Module, program.path, {}, {}};
}

}  // namespace

// ---------------------------------------------------------------- parasites

void DetectionPass::Run() {
    CBHOManager bhoManager;
    bhoManager.Init(logger_);
    CStartupManager startupManager;
    startupManager.Init(logger_);

    seen_.helperObjects = Inventory(bhoManager.ListHelperObjects());
    JudgeHelperObjects();
    auto startupItems = startupManager.ListItems();
    seen_.programs = ListRunningPrograms();
    seen_.startupItems = Inventory(std::move(startupItems));
    JudgeStartupItems();
    JudgePrograms();
    RemoveGoodFiles();
}

void DetectionPass::JudgeHelperObjects() {
    for (const HelperObject& object : seen_.helperObjects) {
        if (!object.file.empty()) {
            if (!detector_.IsParasiteBHO(object.file)) continue;
            files_.Add(object.file, Reason::HelperObject);
        }
        const Text registration = object.clsid + Text(ViewSuffix(object.view));
        if (bhos_.Exists(registration)) continue;
        bhos_.Add(registration, registration);
        seen_.bhos.push_back(object);  // one without a file is a dead registration
    }
}

void DetectionPass::JudgeStartupItems() {
    // Programs only: a startup item that is merely loaded as a module isn't running.
    std::unordered_set<Text> running;
    for (const RunningProgram& program : seen_.programs) running.insert(ToLower(program.path));
    for (const StartupItem& item : seen_.startupItems) {
        if (!Known(item).manufacturer.empty()) continue;
        const Text file = ToLower(item.file);
        if (!running.contains(file) || !files_.Add(file, Reason::StartupNonamer)) continue;
        logger_->Trace(u"RunningStartupNonamer found: " + file, kDetectParasites);
    }
}

void DetectionPass::JudgePrograms() {
    for (const RunningProgram& program : seen_.programs) {
        JudgeRunning(program.path, {program, true});
        for (const Text& module : program.modules) JudgeRunning(module, {program, false});
    }
}

void DetectionPass::JudgeRunning(const Text& path, const Sighting& sighting) {
    const Reason reason = sighting.isProgram ? Reason::Process : Reason::Module;
    const Text file = ToLower(path);
    const Judged* judged = Judge(file, reason);
    const std::int32_t number = judged != nullptr ? judged->number : files_.Find(file);
    if (number == FindingList::kNone) return;
    // On the 95 family a program is listed among its own modules.
    if (!sighting.isProgram && EqualsIgnoreCase(path, sighting.program.path)) return;
    if (judged != nullptr && judged->isParasite) files_.AddReason(number, reason);
    files_.AddPlace(number, PlaceOf(sighting.program, sighting.isProgram));
}

const DetectionPass::Judged* DetectionPass::Judge(const Text& path, Reason reason) {
    const auto known = judged_.find(path);
    if (known != judged_.end()) return &known->second;
    const auto parasite = detector_.JudgeRunningModule(path);
    if (!parasite) return nullptr;  // tried, and logged, anew the next time
    if (*parasite && files_.Add(path, reason)) {
        const TextView report = reason == Reason::Process ? u"Running parasite process: "
                                                          : u"Running parasite module: ";
        logger_->Trace(Text(report) + path, kDetectParasites);
    }
    return &judged_.try_emplace(path, Judged{*parasite, files_.Find(path)}).first->second;
}

void DetectionPass::RemoveGoodFiles() {
    std::vector<bool> isGood;
    for (const Finding& file : files_.All()) {
        isGood.push_back(detector_.IsGoodRunningModule(file.path));
    }
    files_.Remove(isGood);
}

Detection DetectionPass::Take() {
    files_.AddRegistryPlaces(seen_.helperObjects, seen_.startupItems);
    seen_.files = files_.Take();
    return std::move(seen_);
}

// ---------------------------------------------------------------- suspicious files

void SuspiciousSearch::AddPrograms(const std::vector<RunningProgram>& programs) {
    for (const RunningProgram& program : programs) {
        // Modules keep the prefix, on purpose.
        const bool isNative = program.path.starts_with(kNativePrefix);
        AddRunning(isNative ? program.path.substr(kNativePrefix.size()) : program.path, program,
                   Reason::Process);
        for (const Text& module : program.modules) AddRunning(module, program, Reason::Module);
    }
}

void SuspiciousSearch::AddRunning(const Text& path, const RunningProgram& program, Reason reason) {
    auto judged = judged_.find(path);
    if (judged == judged_.end()) {
        if (detector_.IsSuspiciousRunningModule(path)) files_.Add(path, reason);
        judged = judged_.emplace(path, files_.Find(path)).first;
    }
    const std::int32_t number = judged->second;
    if (number == FindingList::kNone) return;
    const bool isProgram = reason == Reason::Process;
    if (!isProgram && EqualsIgnoreCase(path, program.path)) return;
    files_.AddReason(number, reason);
    files_.AddPlace(number, PlaceOf(program, isProgram));
}

void SuspiciousSearch::AddHelperObjects(const std::vector<HelperObject>& helperObjects) {
    for (const HelperObject& object : helperObjects) {
        if (object.file.empty() || !detector_.IsSuspiciousBHO(object.file)) continue;
        files_.Add(object.file, Reason::HelperObject);
    }
}

}  // namespace bkfd
