#pragma once

#include <cstdint>

#include "base/Text.h"

namespace bkfd {

/// The lower 32 bits of a file's size in bytes, signed: 2 GiB and more arrive negative. 0 for a
/// file that isn't there. A path with wildcards answers for the first file that matches.
std::int32_t GetFileSizeLow(const Text& path);

}  // namespace bkfd
