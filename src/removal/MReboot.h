#pragma once

#include "base/Text.h"
#include "services/Logger.h"

namespace bkfd {

/// Asks Windows to restart, without force; returns as soon as the request is accepted or refused.
/// False when it is refused; `errorText` is then the system's text for the error, else empty.
bool RestartWindows(Text& errorText);

/// Restarts Windows and ends the program; a refusal is logged under `source` and shown before.
[[noreturn]] void RestartWindowsAndEnd(Logger& logger, const Text& source);

}  // namespace bkfd
