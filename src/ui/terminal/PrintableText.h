#pragma once

#include <string>

#include "base/Text.h"

namespace bkfd {

/// Text as UTF-8 for a terminal: control characters, which could command the terminal, and
/// characters that turn the writing direction are shown by their number, "\u001b". Line ends stay
/// where `keepLines` says so.
std::string PrintableText(TextView text, bool keepLines = false);

/// How many columns of a terminal a printable text takes: combining marks none, the wide characters
/// of East Asia two, all others one.
std::size_t DisplayWidth(std::string_view utf8);

}  // namespace bkfd
