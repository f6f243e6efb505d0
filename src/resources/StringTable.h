#pragma once

#include "base/Text.h"

namespace bkfd {

/// The program's strings. The numbers are those of the Windows program's string table.
enum class StringId {
#define BKFD_STRING(number, name, text) name = (number),
#include "resources/strings.inc"
#undef BKFD_STRING
};

const Text& ResourceString(StringId id);

}  // namespace bkfd
