#pragma once

#include <string>

#include "base/Text.h"

namespace bkfd {

/// Appends a text as a JSON string with its quotes. Every unit comes back: a lone surrogate is
/// written as an escape, and so are control characters and those that turn the writing direction.
void AppendJsonString(std::string& line, TextView text);

}  // namespace bkfd
