#pragma once

#include <span>

#include "base/Text.h"

namespace bkfd {

/// The text as UTF-16LE, which is how Windows stores it in the registry and in files. No mark and
/// no NUL is added.
Bytes ToUtf16Bytes(TextView text);
/// The text of UTF-16LE bytes, unit by unit; an odd last byte is left out.
Text FromUtf16Bytes(std::span<const std::uint8_t> bytes);

}  // namespace bkfd
