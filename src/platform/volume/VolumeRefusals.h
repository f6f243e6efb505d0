#pragma once

#include <optional>

#include "platform/volume/FindWindows.h"

namespace bkfd {

/// Why nothing may be changed there: mounted read-only, Windows hibernated or shut down for a fast
/// start, a Wine server at work. Nothing if it may.
std::optional<VolumeError> WhyNotToChange(const FoundWindows& found);

}  // namespace bkfd
