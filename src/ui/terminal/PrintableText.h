#pragma once

#include <string>

#include "base/Text.h"

namespace bkfd {

/// Whether a terminal may be given the character. Not controls, which could command it, nor
/// characters without a shape: those that turn the writing direction or hide what stands around
/// them, lone surrogates.
bool IsPrintable(char32_t character);

/// Text as UTF-8 for a terminal: what isn't printable is shown by its number, "\u001b", that beyond
/// the basic plane by its two surrogates'. Line ends stay where `keepLines` says so.
std::string PrintableText(TextView text, bool keepLines = false);

/// How many columns of a terminal a printable text takes: combining marks none, the wide characters
/// of East Asia two, all others one.
std::size_t DisplayWidth(std::string_view utf8);

}  // namespace bkfd
