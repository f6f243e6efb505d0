#pragma once

#include "undo/TakeBack.h"
#include "undo/UndoRecords.h"

/// Words for people.
namespace bkfd {

/// "Automatic cleanup" for kCleanUp; the operation's own name where it isn't known.
Text OperationTitle(TextView operation);
/// "complete", "undone", "damaged record" and so on.
Text StateTitle(const UndoSummary& record);
Text StateTitle(UndoRecord::State state);
Text OutcomeTitle(UndoStep::Outcome outcome);
/// "set value", "delete file" and so on.
Text KindTitle(UndoChange::Kind kind);
/// The value's full name, the key, the file, the program.
Text PlaceOf(const UndoChange& change);
/// A value as an export would show it; empty for none.
Text DescribeValue(const std::optional<RegistryValue>& value);
/// "read-only, hidden", or "none".
Text DescribeAttributes(std::uint32_t attributes);
/// What the recorded change found, and what it left.
Text BeforeOf(const UndoChange& change);
Text AfterOf(const UndoChange& change);
/// One sentence on the whole: "Undone: 12 changes taken back."
Text ResultSentence(const UndoResult& result);

}  // namespace bkfd
