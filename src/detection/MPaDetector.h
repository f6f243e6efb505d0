#pragma once

#include "services/RegistryAccess.h"

namespace bkfd {

/// Whether the class's server is `moduleName` in the system folder. `serverPath` receives the
/// server as the registry has it, unexpanded.
bool IsSystemClsidServer(RegistryAccess& registry, const Text& clsid, const Text& moduleName,
                         Text& serverPath);

}  // namespace bkfd
