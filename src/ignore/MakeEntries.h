#pragma once

#include "detection/HelperObjects.h"
#include "ignore/IgnoreList.h"
#include "services/Logger.h"

/// New entries, dated by the machine's clock, and changes of its list.
namespace bkfd {

IgnoreEntry EntryOfContent(const Text& sha256, const Text& note);
/// Of what the file holds now; its path is the note where there is no other. One that can't be read
/// is a RuntimeError.
IgnoreEntry EntryOfFile(const Text& path, const Text& note);
/// Of the registration as it is now. One whose file couldn't be found out is a RuntimeError.
IgnoreEntry EntryOfObject(const HelperObject& object, const Text& note);

/// Adds them to the machine's list and writes it, with a line in the log for each; how many weren't
/// there yet. A damaged list, or one that can't be written, is a RuntimeError and stays as it is.
std::size_t AddToIgnoreList(std::vector<IgnoreEntry> entries, Logger& logger);
/// Removes those that are there, whatever their dates and notes; else likewise.
void RemoveFromIgnoreList(const std::vector<IgnoreEntry>& entries, Logger& logger);

}  // namespace bkfd
