#pragma once

#include "cli/CleanResult.h"
#include "cli/Console.h"

namespace bkfd {

/// Prints what was done to the machine for a reader; `done` says in a word or two what that was, as
/// the beginning of a sentence.
void PrintClean(const Console& console, const CleanResult& result, const char* done, bool isDryRun);

}  // namespace bkfd
