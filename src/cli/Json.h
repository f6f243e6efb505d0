#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>

#include "platform/Machine.h"

namespace bkfd {

/// A document whose members keep the order in which they were made.
using Json = nlohmann::ordered_json;

/// A text that `PrintJson` writes whole, lone surrogates too.
Json TextToJson(TextView text);
/// Null for the native view of the registry, "32-bit" for the other.
Json ViewToJson(RegistryView view);
/// Adds the member "view" for a view that isn't the native one.
void AddView(RegistryView view, Json& item);
/// Writes a document, indented, with a line end. What a terminal must not be given is escaped, as a
/// lone surrogate is, so that the document parses back to the same texts.
void PrintJson(std::ostream& out, const Json& document);
/// The same in one line without blanks.
void PrintJsonLine(std::ostream& out, const Json& document);

}  // namespace bkfd
