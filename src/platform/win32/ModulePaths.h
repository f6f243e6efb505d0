#pragma once

#include <map>

#include "base/Text.h"

struct HINSTANCE__;  // windows.h: what an HMODULE points to

namespace bkfd {

using ModulePaths = std::map<HINSTANCE__*, Text>;

/// The paths of a process's modules as its loader keeps them, read in one go: psapi.dll, which
/// gives the same, goes through the loader's list anew for each module, and each step is a call
/// into the other process. `process`, a native handle, needs the rights to query and to read. What
/// can't be read isn't there; for that, psapi.dll has to be asked.
ModulePaths ReadModulePaths(void* process);

}  // namespace bkfd
