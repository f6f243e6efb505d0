#include "cli/CleanPlan.h"

#include "base/Utf16Bytes.h"
#include "cli/MemoryLog.h"
#include "cli/PlanBatch.h"
#include "cli/PlanRegistry.h"
#include "detection/CPaDetector.h"
#include "ignore/PassOver.h"
#include "platform/Machine.h"
#include "platform/RegistryValues.h"
#include "platform/model/WindowsPath.h"
#include "processes/RemovedFiles.h"
#include "services/ApplicationState.h"

namespace bkfd {
namespace {

/// The file that a finding means: without a prefix of the kernel's, and without a stream.
Text FileOf(const Text& found) {
    constexpr std::size_t kBehindDrive = 4;
    Text path = found;
    const Text folded = WindowsPath::FoldReported(found, gWindowsPath);
    if (folded.size() != path.size()) path = folded;
    const std::size_t stream = path.find(u':', kBehindDrive);
    if (stream != Text::npos) path.resize(stream);
    return path;
}

/// Whoever runs the plan is its user.
RecordedChange AsCurrentUser(RecordedChange change) {
    if (change.root != RegistryRoot::Users) return change;
    const std::size_t end = change.name.find(u'\\');
    change.root = RegistryRoot::CurrentUser;
    change.name.erase(0, end == Text::npos ? end : end + 1);
    return change;
}

}  // namespace

CleanPlanner::CleanPlanner() {
    const auto log = std::make_shared<MemoryLog>();
    CPaDetector detector;
    detector.Init(log, nullptr);
    Detection detection = detector.Detect();
    (void)PassOver(log).TakeFrom(detection);
    Files& disk = TheMachine().FileSystem();
    for (const Finding& finding : detection.files) {
        const Text path = FileOf(finding.path);
        FindData data;
        const Handle search = disk.FindFirstFileW(path, data);
        if (search == kInvalidHandle) continue;
        (void)disk.FindClose(search);
        files_.push_back({WindowsPath::Join(WindowsPath::Parent(path), data.name), data.attributes,
                          std::uint64_t{data.sizeHigh} << 32 | data.sizeLow});
    }
}

CleanPlan CleanPlanner::Make(const std::vector<RecordedChange>& changes) const {
    CleanPlan plan;
    PlanRegistry registry(plan.failed);
    for (const RecordedChange& asked : changes) {
        const RecordedChange change = AsCurrentUser(asked);
        // The list of removed files is told below, and there is no time of a cleanup.
        if (!ToLower(change.name).starts_with(kOwnKey)) registry.Add(change);
    }
    PlanBatch batch(plan.failed);
    for (const File& file : files_) {
        if (!batch.Disable(file.path, file.attributes, file.size)) continue;
        RecordedChange noted;
        noted.root = kRemovedFilesRoot;
        noted.name = kRemovedFilesKey;
        noted.valueName = file.path;
        noted.after = MakeStringValue(file.path);
        registry.Add(noted);
    }
    if (registry.IsEmpty() && batch.IsEmpty()) return plan;
    plan.fix = registry.Fix();
    plan.undo = registry.Undo();
    plan.batch = batch.Take();
    return plan;
}

}  // namespace bkfd
