#pragma once

#include <optional>
#include <string>

#include "base/Text.h"

namespace bkfd {

/// SHA-256 of a file of the machine in lower-case hexadecimal; nothing for one that is missing or
/// can't be read to its end.
std::optional<std::string> FileSha256(const Text& path);

}  // namespace bkfd
