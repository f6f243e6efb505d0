#pragma once

#include "services/RegistryAccess.h"

namespace bkfd {

/// The server of a class as the registry has it, a file or a command line; empty where there is
/// none or it can't be read.
Text ServerOfClass(RegistryAccess& registry, const Text& clsid,
                   RegistryView view = RegistryView::Native);

/// Whether the class's server is `moduleName` in the system folder of the view's programs.
/// `serverPath` receives the server as the registry has it, unexpanded.
bool IsSystemClsidServer(RegistryAccess& registry, const Text& clsid, const Text& moduleName,
                         Text& serverPath, RegistryView view = RegistryView::Native);

}  // namespace bkfd
