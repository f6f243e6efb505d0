#pragma once

#include <optional>
#include <vector>

#include "cli/Json.h"
#include "cli/MemoryLog.h"
#include "platform/record/RecordingMachine.h"
#include "platform/undo/UndoRecord.h"

namespace bkfd {

struct DeletedStartup {
    Text key;  // with its root
    Text valueName;
    Text data;
};

struct EndedProcess {
    std::uint32_t id = 0;
    Text path;
};

struct ChangedSetting {
    Text key;  // with its root
    Text valueName;
    std::optional<RegistryValue> before;  // nothing where there was no value
    std::optional<RegistryValue> after;   // nothing for a deleted one
    bool isDeletedKey = false;
};

struct FailedChange {
    const char* kind;  // "file", "registry", "process", "restart" or "step"
    Text name;
    Text error;
};

/// What a cleanup did to the machine, from the changes that were made.
struct CleanResult {
    std::vector<Text> removedFiles;  // former full paths
    std::vector<Text> deletedBhos;   // class identifiers
    std::vector<DeletedStartup> deletedStartup;
    std::vector<EndedProcess> endedProcesses;
    std::vector<ChangedSetting> changedSettings;
    std::vector<FailedChange> failed;
    bool isRestarted = false;
    RecordId record = 0;  // by which it can be undone; 0 if nothing was kept
};

CleanResult SummarizeChanges(const std::vector<RecordedChange>& changes,
                             const std::vector<MemoryLog::Line>& log);
Json CleanToJson(const CleanResult& result);
/// A text or a number as it is, other data as hexadecimal text; null for no value.
Json RegistryValueToJson(const std::optional<RegistryValue>& value);

}  // namespace bkfd
