#pragma once

#include <vector>

#include "base/Text.h"

/// The running programs with their modules, for the inventory, detection and the support report.
/// Paths are as the system reports them; what can't be opened is left out.
namespace bkfd {

/// A process: its program file and the files that it has loaded.
struct RunningProgram {
    Text path;
    std::vector<Text> modules;
};

/// By the calls of the machine's family, in the system's order.
std::vector<RunningProgram> ListRunningPrograms();
/// By the calls of the NT family. The program file isn't among the modules, nor are blank names.
std::vector<RunningProgram> ListRunningProgramsNT();
/// By the calls of the Windows 95 family. The program file is among the modules, blank names too.
std::vector<RunningProgram> ListRunningPrograms9x();

}  // namespace bkfd
