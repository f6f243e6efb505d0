#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>

#include "base/Text.h"

namespace bkfd {

/// A document whose members keep the order in which they were made.
using Json = nlohmann::ordered_json;

/// A lone surrogate becomes U+FFFD: JSON is UTF-8.
Json TextToJson(TextView text);
/// Writes a document, indented, with a line end.
void PrintJson(std::ostream& out, const Json& document);

}  // namespace bkfd
