#pragma once

#include "formats/Hive.h"
#include "formats/RegistryVisitor.h"

namespace bkfd {

/// Tells all keys and values of a hive: each key, its values, then its subkeys, in the file's
/// order. What can't be read is told and passed over. It ends whatever the file says: a key below
/// itself, or more keys, values or data than the hive has room for are told and not followed.
/// Besides the path it needs a fixed amount of memory.
void WalkHive(const Hive& hive, RegistryVisitor& visitor);

}  // namespace bkfd
