#pragma once

#include <utility>
#include <vector>

#include "base/Text.h"
#include "formats/ByteSource.h"

namespace bkfd {

/// The string fields of a version record, names and values in the record's order.
using VersionStrings = std::vector<std::pair<Text, Text>>;

/// Reads the version record of a PE32, PE32+ or NE file: the string table of the first language
/// block. Only the headers and the record itself are read. Empty for a file without one, and for a
/// file that is cut, malformed or beyond the limits. `toText` decodes the 8-bit strings of NE
/// files.
VersionStrings ReadVersionStrings(ByteSource& file, Text (*toText)(std::string_view bytes));

}  // namespace bkfd
