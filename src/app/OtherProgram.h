#pragma once

#include "services/Logger.h"

namespace bkfd {

/// Where this is the 32-bit program on a 64-bit Windows: says to each user once, and in the log of
/// every start, that it doesn't see everything, and which program does.
void TellOfOtherProgram(Logger& logger);

}  // namespace bkfd
