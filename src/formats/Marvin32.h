#pragma once

#include "formats/LittleEndian.h"

namespace bkfd {

/// The Marvin32 hash (Microsoft's patent US20130262421) with the seed that logs of hives use.
std::uint64_t HiveLogHash(ByteView bytes);

}  // namespace bkfd
