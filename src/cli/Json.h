#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>

#include "base/Variant.h"

namespace bkfd {

/// A document whose members keep the order in which they were made.
using Json = nlohmann::ordered_json;

/// A lone surrogate becomes U+FFFD: JSON is UTF-8.
Json TextToJson(TextView text);
/// Empty is null; an object is a RuntimeError.
Json VariantToJson(const Variant& value);
/// A parameter's name as a member's name: "ValueName" is valueName, "DLL" is dll.
std::string MemberName(TextView name);
/// Writes a document, indented, with a line end.
void PrintJson(std::ostream& out, const Json& document);

}  // namespace bkfd
