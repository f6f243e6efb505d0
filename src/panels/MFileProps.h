#pragma once

#include <cstdint>

#include "base/Text.h"

namespace bkfd {

/// Opens the system's property sheet of a file before the window with that native handle, which may
/// be 0. False if the system refuses.
bool ShowFileProperties(const Text& fileName, std::uintptr_t windowHandle);

}  // namespace bkfd
