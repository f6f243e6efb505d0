#pragma once

#include "base/Text.h"
#include "services/Logger.h"
#include "services/RegistryAccess.h"

namespace bkfd {

/// Puts every setting of the table to its fixed value, in the table's order, those of the 32-bit
/// view behind the others. What the system refuses stays as it was and leaves a line in the log
/// under `source`.
void RestoreSettings(RegistryAccess& registry, Logger& logger, const Text& source);

}  // namespace bkfd
