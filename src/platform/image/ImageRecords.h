#pragma once

#include <optional>

#include "platform/files/DiskVolume.h"
#include "platform/image/ImageClock.h"
#include "platform/image/ImageJson.h"
#include "platform/image/RegistryFiles.h"
#include "platform/model/ChangeLog.h"
#include "platform/model/FileRules.h"
#include "platform/model/ModelProcesses.h"

/// The records of an image's journal, and what they do when they are read again. Each record holds
/// its outcome, not a difference, so that a record that was carried out already does no harm.
namespace bkfd {

ImageJson ChangeRecord(const MachineChange& change);
/// The time with which the next use begins.
ImageJson TimeRecord(const ImageTime& time);
ImageJson RestartRecord(const ImageTime& time, const std::vector<ProcessRecord>& processes);
/// `rules` are those before the moves.
ImageJson MoveRecord(const VolumeMoves& moves, const FileRules& rules);
ImageJson RemovalRecord(const Text& path);
/// What became of the change of names that was noted last.
ImageJson OutcomeRecord(bool isDone);

/// Adds what was written to files before the change, in the order in which it was written.
void AddWritten(ImageJson& record, const std::vector<WrittenBytes>& written);

/// A change of names whose outcome isn't read yet.
using PendingNames = std::optional<ImageJson>;

struct ReplayTargets {
    RegistryTree& tree;
    RegistryFiles& registryFiles;
    ModelProcesses& processes;
    FileRules& rules;
    DiskVolume& volume;
    ImageClock& clock;
    PendingNames& pending;
    /// What was written to files that have still the names that they had then.
    std::vector<WrittenBytes>& written;
};

/// Carries a record out. A change of names is made up for only if it is the last record: all others
/// were done, or had failed, before the next record was written. False if the record isn't
/// understood.
bool ReplayRecord(const ImageJson& record, bool isLast, ReplayTargets& targets);

}  // namespace bkfd
