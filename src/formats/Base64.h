#pragma once

#include <optional>
#include <span>

#include "base/Text.h"

namespace bkfd {

/// RFC 4648 base64 with padding, without line ends.
Text EncodeBase64(std::span<const std::uint8_t> bytes);
/// The inverse. Nothing for text that isn't exactly such an encoding: other characters, wrong
/// padding, or bits set behind the last byte.
std::optional<Bytes> DecodeBase64(TextView text);

}  // namespace bkfd
