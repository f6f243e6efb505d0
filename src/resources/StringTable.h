#pragma once

#include "base/Text.h"

namespace bkfd {

/// The text of a numbered string. A number that isn't in the table is a RuntimeError.
const Text& ResourceString(int number);

}  // namespace bkfd
