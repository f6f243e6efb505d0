#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// The registry's roots by their usual short names.
inline constexpr auto HKCR = RegistryRoot::ClassesRoot;
inline constexpr auto HKCU = RegistryRoot::CurrentUser;
inline constexpr auto HKLM = RegistryRoot::LocalMachine;

/// The name of a root as exports spell it, "HKEY_LOCAL_MACHINE".
TextView RegistryRootName(RegistryRoot root);

}  // namespace bkfd
