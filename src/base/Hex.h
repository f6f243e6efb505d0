#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace bkfd {

/// Adds two lower-case hexadecimal digits for each byte.
void AppendHex(std::string& text, std::span<const std::uint8_t> bytes);

}  // namespace bkfd
