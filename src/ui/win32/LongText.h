#pragma once

#include "base/Text.h"

namespace bkfd::native {

/// A text that fits on the screen, in a window that grows with it: texts hold names from the
/// registry of any length. One that is far too long loses its middle, words that are far too long
/// are broken over lines, and lines that are far too many are joined.
Text FittedText(const Text& text);

}  // namespace bkfd::native
