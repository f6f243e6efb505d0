#pragma once

#include "cli/Console.h"
#include "cli/Json.h"
#include "undo/TakeBack.h"
#include "undo/UndoRecords.h"

/// What the command `undo` prints: as text for people and as documents.
namespace bkfd {

Json RecordsToJson(const std::vector<UndoSummary>& records);
void PrintRecords(const Console& console, const std::vector<UndoSummary>& records);

/// "changes" and "failed" of a document on what was undone.
Json UndoToJson(const UndoResult& result);
void PrintUndo(const Console& console, const UndoResult& result, bool isDryRun);

}  // namespace bkfd
