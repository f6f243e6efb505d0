#pragma once

#include "base/Text.h"

namespace bkfd {

/// Opens the system's property sheet of a file, in front of the active window. False if the system
/// refuses.
bool ShowFileProperties(const Text& fileName);

}  // namespace bkfd
