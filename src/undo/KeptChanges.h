#pragma once

#include "services/Logger.h"

namespace bkfd {

/// Why changes of the running operation were refused, one sentence: what they would have changed
/// couldn't be kept. Empty if all was kept.
Text WhyNotKept();
/// Shows and logs that sentence, if there is one, and returns whether there is.
bool TellIfNotKept(Logger& logger, const Text& source);

}  // namespace bkfd
