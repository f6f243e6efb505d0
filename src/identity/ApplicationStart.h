#pragma once

#include "services/ErrorMode.h"

namespace bkfd {

/// Makes the hasher anew, which remembers files, and reads the facts of the machine in use
/// (`services/ApplicationState.h`). Each is a step of its own: what fails leaves its fact as it
/// was.
void SetApplicationState(ContinueOnError& step);
/// The same; the last error goes to the caller.
void SetApplicationState();

}  // namespace bkfd
