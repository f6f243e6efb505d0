#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// Values whose names hold a NUL, which the documented calls can't reach: by the native calls of
/// the NT family, to which a name is a count of characters. `key` is an open key's handle. Where
/// the system has no such calls all of it is `InvalidName`.
namespace CountedNames {
Result<RegistryValue> QueryValue(void* key, TextView name);
Status SetValue(void* key, TextView name, const RegistryValue& value);
Status DeleteValue(void* key, TextView name);
}  // namespace CountedNames

}  // namespace bkfd
