#pragma once

#include <vector>

#include "platform/undo/UndoRecord.h"

/// The records of what the program changed on its machine.
namespace bkfd {

/// What a list shows of a record.
struct UndoSummary {
    RecordId id = 0;
    UndoRecord::State state = UndoRecord::State::Complete;
    Text operation;  // one of UndoOperation, or what another version has
    Text time;       // local, "2026-11-16 09:39:04"
    std::optional<RecordId> undoes;
    std::size_t changes = 0;      // that can be undone
    std::size_t notUndoable = 0;  // ended processes and restarts
    bool isUndone = false;        // by a later undo that wasn't undone itself
    bool isPartlyUndone = false;  // that undo left something

    /// Whether an undo of it can be tried.
    bool CanBeUndone() const { return state <= UndoRecord::State::Interrupted && !isUndone; }
};

/// All records, the newest first.
std::vector<UndoSummary> ListUndoRecords();
/// A RuntimeError if there is no such record. It may be one that can't be used.
UndoRecord ReadRecord(RecordId id);
/// The newest record of an operation that isn't undone, undos left out; nothing if there is none.
std::optional<RecordId> LastUndoable(const std::vector<UndoSummary>& records);
/// Removes the record, and the files that were kept for it. A RuntimeError if it can't be removed.
void ForgetRecord(RecordId id);

}  // namespace bkfd
