#pragma once

#include "cli/CleanResult.h"
#include "cli/Console.h"

namespace bkfd {

/// A cleanup's result for people.
void PrintClean(const Console& console, const CleanResult& result, bool isDryRun);

}  // namespace bkfd
