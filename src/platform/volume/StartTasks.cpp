#include "platform/model/WindowsPath.h"
#include "platform/volume/StartSteps.h"
#include "platform/volume/TaskFiles.h"

// Scheduled tasks that the start or a logon triggers.
namespace bkfd {
namespace {

constexpr std::uint32_t kDisabledService = 4;
constexpr int kDeepestFolder = 16;
/// What makes the objects of tasks, by the version of Windows, the newest first.
constexpr TextView kObjectHosts[] = {u"taskhostw.exe", u"taskhostex.exe", u"taskhost.exe",
                                     u"taskeng.exe"};

void StartTask(StartBuilder& start, const ScheduledTask& task, const Text& name) {
    if (!task.isStartedWithWindows) return;
    const StartReason reason{StartPlace::Kind::ScheduledTask, name};
    StartAccount& machine = start.Machine();
    for (const Text& line : task.commandLines) start.StartAtLogon(machine, line, reason);
    for (const Text& clsid : task.classes) {
        for (const TextView host : kObjectHosts) {
            const auto file = start.FileOfWindows(host);
            if (!file) continue;
            start.Load(machine, *file, start.LibraryOf(machine, clsid, false), reason);
            break;
        }
    }
}

/// `above` is the name of the folder below that of all tasks, with a backslash at its end.
void StartTasksIn(StartBuilder& start, const Text& folder, const Text& above, int depth) {
    for (const VolumeEntry& entry : start.List(folder)) {
        const Text name(WindowsPath::Name(entry.path));
        const bool isJob = ToLower(name).ends_with(u".job");
        if (entry.isFolder) {
            if (depth < kDeepestFolder) {
                StartTasksIn(start, entry.path, above + name + u'\\', depth + 1);
            }
            continue;
        }
        const std::string content = start.ReadBytes(entry.path);
        const ByteView bytes(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
        const auto task = isJob ? ReadJobFile(bytes) : ReadTaskXml(bytes);
        if (task) StartTask(start, *task, above + name);
    }
}

}  // namespace

void StartTasks(StartBuilder& start) {
    const Text service = KeyBelow(StartKey::ControlSet, u"Services\\Schedule");
    if (start.Number(service, u"Start") == kDisabledService) return;
    StartTasksIn(start, start.Facts().WindowsFolder() + u"\\Tasks", {}, 0);
    if (start.Facts().IsNT()) {
        StartTasksIn(start, start.Facts().SystemFolder() + u"\\Tasks", {}, 0);
    }
}

}  // namespace bkfd
