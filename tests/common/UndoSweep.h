#pragma once

#include <string>

#include "common/ExampleMachine.h"
#include "platform/RootNames.h"
#include "services/RegistryAccess.h"
#include "undo/TakeBack.h"
#include "undo/UndoRecords.h"
#include "undo/UndoText.h"

namespace bkfd {

/// The whole registry as exports. Needs an engine.
inline std::string RegistryOf(Machine& machine) {
    std::string registry;
    for (const RegistryRoot root : {HKLM, HKCU, RegistryRoot::Users}) {
        const auto keys = machine.RegistryKeys().RegEnumKeyExW(root, u"");
        for (const Text& key : keys.value) {
            registry += ToUtf8(RegistryAccess().ExportKey(root, key));
        }
    }
    return registry;
}

/// The same, and all files with name, content and attributes but those in the program's own folder.
inline std::string StateOf(Machine& machine) {
    std::string state = RegistryOf(machine);
    for (const auto& [path, content] : FilesOf(machine)) {
        if (path.starts_with(u"c:\\program files\\brackenfold")) continue;
        FindData data;
        (void)machine.FileSystem().FindClose(machine.FileSystem().FindFirstFileW(path, data));
        state += ToUtf8(path) + ' ' + ToUtf8(data.name) + ' ' + std::to_string(data.attributes) +
                 ' ' + std::string(content.begin(), content.end()) + '\n';
    }
    return state;
}

/// Takes back all that is left to be, as a user does after a failure, and returns what didn't come
/// back, a line each.
inline std::string TakeAllBack() {
    std::string trouble;
    for (auto last = LastUndoable(ListUndoRecords()); last;) {
        const UndoResult result = TakeBack(*last);
        trouble += ToUtf8(result.failure);
        for (const UndoStep& step : result.steps) {
            if (step.outcome == UndoStep::Outcome::Conflict ||
                step.outcome == UndoStep::Outcome::Failed) {
                trouble += ToUtf8(KindTitle(step.change.kind)) + " " +
                           ToUtf8(PlaceOf(step.change)) + ": " + ToUtf8(step.error) + '\n';
            }
        }
        const auto next = LastUndoable(ListUndoRecords());
        if (next == last) break;
        last = next;
    }
    return trouble;
}

}  // namespace bkfd
