#pragma once

#include <optional>

#include "base/Text.h"
#include "formats/ByteSource.h"

namespace bkfd {

inline std::uint16_t ReadUint16(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

inline std::uint32_t ReadUint32(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return ReadUint16(bytes, offset) | static_cast<std::uint32_t>(ReadUint16(bytes, offset + 2))
                                           << 16;
}

/// The bytes of resource 1 of the type VERSION in a PE32, PE32+ or NE file, at most 64 KiB of it
/// (the record's own length has 16 bits). Nothing if there is none or the file is malformed.
std::optional<Bytes> ReadVersionResource(ByteSource& file);

}  // namespace bkfd
