#pragma once

#include <string>
#include <vector>

#include "cli/Console.h"

namespace bkfd {

/// Runs the command line with the arguments behind the program's name, and returns the exit code.
/// Nothing is thrown; each failure is one line of `console.err`.
int RunCommandLine(const std::vector<std::string>& arguments, Console& console);

}  // namespace bkfd
