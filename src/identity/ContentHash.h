#pragma once

#include <cstdint>
#include <span>

namespace bkfd {

/// The content hash of a file, 0 to 2147483647; 0 for no bytes. Each byte rotates the hash right by
/// one within 31 bits and is then added; a byte whose addition would pass 2147483647 has no effect
/// at all, not even the rotation.
std::int32_t ContentHash(std::span<const std::uint8_t> bytes);

/// The same values by the plain definition, a byte at a time: what `ContentHash` is measured by.
std::int32_t ContentHashByteLoop(std::span<const std::uint8_t> bytes);

}  // namespace bkfd
