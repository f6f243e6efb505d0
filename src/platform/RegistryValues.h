#pragma once

#include <optional>

#include "platform/Machine.h"

namespace bkfd {

/// A text value with its terminating NUL.
RegistryValue MakeStringValue(TextView text, RegistryType type = RegistryType::String);
RegistryValue MakeDwordValue(std::uint32_t number);
/// The characters of a text value, without the NULs at its end.
Text TextOfValue(const RegistryValue& value);
/// The number of a value; nothing for another type, or for other than four bytes.
std::optional<std::uint32_t> NumberOfValue(const RegistryValue& value);

}  // namespace bkfd
