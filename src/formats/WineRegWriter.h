#pragma once

#include <string>

#include "base/Text.h"

/// Lines of a Wine prefix's registry, as Wine's server writes them.
namespace bkfd {

/// "[Software\\Wine] 1700000000" and "#time=1da0c2f8d3e4f00", each with its line end. `path` has no
/// leading backslash, `time` is a FILETIME.
std::string FormatWineKey(TextView path, std::uint64_t time);
/// The value's line or lines.
std::string FormatWineValue(TextView name, std::uint32_t type, const Bytes& data);

}  // namespace bkfd
