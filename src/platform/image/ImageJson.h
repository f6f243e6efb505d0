#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "base/Text.h"

namespace bkfd {

/// Finds the names of an object in a tree: an image's objects may have any number of them.
using ImageJson = nlohmann::json;

/// Whether it is a whole number from 0 to 2^32 - 1.
bool IsUint32(const ImageJson& value);

/// Text in the JSON of an image. JSON can't carry a lone surrogate: it stands as the character
/// U+10F800 + (surrogate - U+D800) of a private area, whose own characters stand as two of those.
std::string ToImageJson(TextView text);
Text FromImageJson(const std::string& utf8);

}  // namespace bkfd
