#pragma once

#include "platform/undo/UndoRecord.h"

/// Where records lie: the folder `Undo` beside the program, one file a record, "0003.undo", and
/// beside it the files that were kept for it, "0003-7.kept", and, where the registry was written as
/// files, what those held before, "0003-1.registry".
namespace bkfd {

/// Without a backslash at its end.
Text UndoFolderPath(SystemFacts& system);
Text UndoRecordPath(SystemFacts& system, RecordId id);
/// The number of a file's name, nothing for another file of the folder.
std::optional<RecordId> RecordIdOf(TextView name);
/// All records, the oldest first; none where the folder can't be listed.
std::vector<RecordId> ListRecordIds(Machine& machine);
/// What was kept for a record, full paths.
std::vector<Text> ListKeptFiles(Machine& machine, RecordId id);

/// A record of a file that can't be read is `Damaged`, one of another number `Foreign`.
UndoRecord ReadUndoRecord(Machine& machine, RecordId id);

/// Size and checksum of a file's content; nothing if it can't be read.
std::optional<FileContent> ContentOf(Files& files, TextView path);

}  // namespace bkfd
