#pragma once

#include "base/Text.h"

namespace bkfd {

// Whether a path is that of a known system process or module: the whole path is compared, without
// regard to case. Each question has one form for each family of Windows; the caller picks.
bool IsSystemProcessNT(const Text& path);
bool IsSystemProcess9x(const Text& path);
bool IsSystemModuleNT(const Text& path);
bool IsSystemModule9x(const Text& path);

}  // namespace bkfd
