#include "cli/ExpectedChanges.h"

#include <algorithm>
#include <unordered_set>

#include "cli/MemoryLog.h"
#include "detection/CPaDetector.h"
#include "ignore/PassOver.h"
#include "platform/model/WindowsPath.h"
#include "services/ApplicationState.h"
#include "services/FileUtil.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

std::unordered_set<Text> RegisteredHelperObjects(RegistryView view) {
    const auto names = TheMachine().RegistryKeys().RegEnumKeyExW({RegistryRoot::LocalMachine, view},
                                                                 kHelperObjectsKey);
    return {names.value.begin(), names.value.end()};
}

/// The name that the system was given: the 95 family has no others than those of its code page.
Text AsAskedFor(const Text& file) {
    SystemFacts& system = TheMachine().System();
    return gIsNT ? file : system.MultiByteToWideChar(system.WideCharToMultiByte(file));
}

Text HelperObjectPath(const HelperObject& object) {
    return RegistryAccess::KeyName({RegistryRoot::LocalMachine, object.view},
                                   HelperObjectKey(object.clsid));
}

}  // namespace

void ExpectedChanges::ExpectCleanup() {
    const auto log = std::make_shared<MemoryLog>();
    CPaDetector detector;
    detector.Init(log, nullptr);
    Detection detection = detector.Detect();
    (void)PassOver(log).TakeFrom(detection);
    for (const Finding& file : detection.files) files_.push_back(file.path);
    for (const HelperObject& object : detection.bhos) helperObjects_.push_back(object);
}

void ExpectedChanges::ExpectFiles(const KeyedList& paths) {
    for (const Variant& path : paths) files_.push_back(path.AsText());
}

void ExpectedChanges::AddMissing(const Text& path) {
    missing_.push_back({"file", path, SysUtil::SystemErrorText(SystemError::FileNotFound)});
}

bool ExpectedChanges::ExpectsFile(const Text& path) const {
    return std::ranges::any_of(files_,
                               [&](const Text& file) { return EqualsIgnoreCase(file, path); });
}

void ExpectedChanges::AddFailuresTo(CleanResult& result) const {
    std::unordered_set<Text> known;
    for (const FailedChange& change : result.failed) known.insert(ToLower(change.name));
    std::vector<FailedChange> found = missing_;
    const auto add = [&](const char* kind, const Text& name, const Text& error) {
        if (known.insert(ToLower(name)).second) found.push_back({kind, name, error});
    };
    for (const Text& file : files_) {
        if (FileUtil::FolderExists(file)) {
            add("file", file, u"It is a folder, which is never renamed.");
        }
        if (!FileUtil::FileExists(WindowsPath::FoldReported(file, gWindowsPath))) continue;
        const auto refused = std::ranges::find_if(
            result.failed, [asked = AsAskedFor(file)](const FailedChange& change) {
                return EqualsIgnoreCase(change.name, asked);
            });
        if (refused != result.failed.end()) {
            refused->name = file;
        } else {
            add("file", file, u"The file is still there under its name.");
        }
    }
    for (const RegistryView view : HelperObjectViews()) {
        const std::unordered_set<Text> registered = RegisteredHelperObjects(view);
        for (const HelperObject& object : helperObjects_) {
            if (object.view != view || !registered.contains(object.clsid)) continue;
            add("registry", HelperObjectPath(object), u"The helper object is still registered.");
        }
    }
    result.failed.insert(result.failed.begin(), found.begin(), found.end());
}

}  // namespace bkfd
