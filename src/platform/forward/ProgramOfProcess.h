#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// The path of a process's program, or its name where the Windows 95 family tells no more; empty if
/// it can't be had.
Text ProgramOfProcess(Machine& machine, std::uint32_t processId);

}  // namespace bkfd
