#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>

#include "base/Text.h"

namespace bkfd {

/// A document whose members keep the order in which they were made.
using Json = nlohmann::ordered_json;

/// A text that `PrintJson` writes whole, lone surrogates too.
Json TextToJson(TextView text);
/// Writes a document, indented, with a line end. What a terminal must not be given is escaped, as a
/// lone surrogate is, so that the document parses back to the same texts.
void PrintJson(std::ostream& out, const Json& document);
/// The same in one line without blanks.
void PrintJsonLine(std::ostream& out, const Json& document);

}  // namespace bkfd
