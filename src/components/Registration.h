#pragma once

#include "base/Text.h"
#include "components/CustomClasses.h"
#include "platform/Result.h"

namespace bkfd {

/// Registers the class for the machine, served by the file `path`.
Status RegisterClass(const CustomClass& one, const Text& path);
/// What isn't there needs no removing.
Status UnregisterClass(const CustomClass& one);

}  // namespace bkfd
