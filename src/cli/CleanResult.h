#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "cli/Json.h"
#include "cli/MemoryLog.h"
#include "ignore/PassOver.h"
#include "platform/record/RecordingMachine.h"
#include "platform/undo/UndoRecord.h"

namespace bkfd {

/// Where the program keeps what it notes for itself, lower-cased, below a root.
inline constexpr TextView kOwnKey = u"software\\tarnwick labs\\";

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

/// One change of the machine, in the order in which they were asked for.
struct ToldChange {
    const char* kind;  // "value", "key", "file", "process" or "restart"
    Text place;        // a value's key with its root, a backslash and its name; a path
    Json before;       // a value's data; a path; a process's identifier; null for nothing
    Json after;
    bool isDone = false;
};

struct FailedChange {
    const char* kind;  // "file", "registry", "process", "restart", "step" or "record"
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
    std::vector<ToldChange> changes;
    std::vector<FailedChange> failed;
    std::vector<PassedOver> ignored;  // found, and on the machine's ignore list
    bool isRestarted = false;
    bool isRunning = true;          // Windows, so that it can be restarted
    RecordId record = 0;            // by which it can be undone; 0 if nothing was kept
    std::vector<std::string> plan;  // files of the host by which the machine does it itself
};

CleanResult SummarizeChanges(const std::vector<RecordedChange>& changes,
                             const std::vector<MemoryLog::Line>& log);
/// Adds the result to a document that says which machine it is about.
void AddToDocument(const CleanResult& result, Json& document);
/// A text or a number as it is, other data as hexadecimal text; null for no value.
Json RegistryValueToJson(const std::optional<RegistryValue>& value);
/// The text of a value's data, nothing for data that isn't text.
std::optional<Text> RegistryValueText(const std::optional<RegistryValue>& value);

}  // namespace bkfd
