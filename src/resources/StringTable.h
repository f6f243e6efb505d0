#pragma once

#include "base/Text.h"

namespace bkfd {

/// The number of the program's name, which message boxes and the main window have as their title.
inline constexpr int kProgramTitle = 100;

/// The text of a numbered string. A number that isn't in the table is a RuntimeError.
const Text& ResourceString(int number);

}  // namespace bkfd
