#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "base/Text.h"
#include "formats/ByteSource.h"

namespace bkfd {

/// The string fields of a version record, names and values in the record's order.
using VersionStrings = std::vector<std::pair<Text, Text>>;

/// Reads the version record of a PE32, PE32+ or NE file: the first string table. Of several
/// languages that a PE file has it in, the neutral one counts, else English, else the first. Of
/// fields whose names differ in case only, the first counts, as for version.dll; a value ends at
/// its first NUL. Only the headers and the record itself are read. Empty for a file without one,
/// and for a file that is cut, malformed or beyond the limits. `toText` decodes the 8-bit strings
/// of NE files.
VersionStrings ReadVersionStrings(ByteSource& file,
                                  const std::function<Text(std::string_view)>& toText);

}  // namespace bkfd
