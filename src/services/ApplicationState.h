#pragma once

#include "base/Text.h"

namespace bkfd {

// Facts of the process, set at start-up by `SetApplicationState` and read freely afterwards.

extern bool gIsNT;         // the NT family
extern bool gIsNT4;        // NT with major version 4
extern Text gWindowsPath;  // the Windows folder, in lower case, ending in a backslash
extern Text gSystemPath;   // its system32 (NT) or system (9x) folder, likewise

/// Which machines a row of a table is for.
enum class Family { Any, NT, Windows9x };

/// Whether such a row counts on this machine.
inline bool IsForThisMachine(Family family) {
    return family == Family::Any || (family == Family::NT) == gIsNT;
}

/// The folder of the running program as the runtime gives it: without a backslash at its end,
/// except for a drive's root ("C:\\"). Names are put behind it with a backslash of their own, which
/// is doubled there on purpose.
Text ProgramFolder();
/// "4.54.0"
Text ProgramVersion();

}  // namespace bkfd
