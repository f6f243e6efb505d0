#pragma once

#include "formats/Hive.h"

namespace bkfd {

/// Whether two hives hold the same keys and values, by name, type and data. The order of values,
/// times, classes and security descriptors aside: no change that a machine is asked for names
/// those, and a key or value that was deleted and made again comes without them.
bool HoldTheSame(const Hive& a, const Hive& b);

/// The same of two texts of a Wine prefix's registry.
bool HoldTheSameText(ByteView a, ByteView b);

}  // namespace bkfd
