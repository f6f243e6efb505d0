#pragma once

#include <vector>

#include "platform/undo/UndoRecord.h"

namespace bkfd {

/// What became of one recorded change when it was taken back.
struct UndoStep {
    enum class Outcome {
        Done,         // what was there before is there again
        AsBefore,     // nothing had to be done
        Conflict,     // something else has changed the place meanwhile; it was left alone
        Failed,       // the system refused it
        NotUndoable,  // an ended process, a restart
    };

    UndoChange change;
    Outcome outcome = Outcome::Done;
    // What the place held before the change, after it, and when it was to be taken back, for
    // people. Empty for nothing.
    Text before;
    Text after;
    Text now;
    Text error;  // of a failed one; of a conflict, what is in the way
};

struct UndoOptions {
    /// Puts back what was there before even where something else changed the place meanwhile. A
    /// file whose name is taken again gets it, and the other one is moved aside.
    bool force = false;
};

struct UndoResult {
    RecordId undone = 0;
    RecordId record = 0;  // of this undo, by which it can be undone; 0 if nothing was changed
    std::vector<UndoStep> steps;  // in the order in which they were taken back, the latest first
    /// Why the undo stopped before its end: what it would have changed couldn't be kept. Empty
    /// otherwise.
    Text failure;

    std::size_t Count(UndoStep::Outcome outcome) const;
    /// Whether all that can be undone is as it was before the operation.
    bool IsWhole() const {
        return failure.empty() && Count(UndoStep::Outcome::Conflict) == 0 &&
               Count(UndoStep::Outcome::Failed) == 0;
    }
};

/// Takes an operation back, one change after the other, the latest first. It is recorded as an
/// operation of its own. An earlier undo of the same record that the program's end has interrupted
/// is itself taken back first. A RuntimeError if there is no such record, or one that can't be
/// used.
UndoResult TakeBack(RecordId id, const UndoOptions& options = {});

}  // namespace bkfd
