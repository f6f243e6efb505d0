#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// Little-endian fields of binary formats. The caller has checked that they lie within the bytes.
namespace bkfd {

using ByteView = std::span<const std::uint8_t>;

inline std::uint16_t Read16(ByteView bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}
inline std::uint32_t Read32(ByteView bytes, std::size_t at) {
    return Read16(bytes, at) | std::uint32_t{Read16(bytes, at + 2)} << 16;
}
inline std::uint64_t Read64(ByteView bytes, std::size_t at) {
    return Read32(bytes, at) | std::uint64_t{Read32(bytes, at + 4)} << 32;
}
inline void Write16(std::span<std::uint8_t> bytes, std::size_t at, std::uint16_t value) {
    bytes[at] = static_cast<std::uint8_t>(value);
    bytes[at + 1] = static_cast<std::uint8_t>(value >> 8);
}
inline void Write32(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
}
inline void Write64(std::span<std::uint8_t> bytes, std::size_t at, std::uint64_t value) {
    Write32(bytes, at, static_cast<std::uint32_t>(value));
    Write32(bytes, at + 4, static_cast<std::uint32_t>(value >> 32));
}
/// Whether the bytes have that text at `at`; false if it lies outside.
inline bool HasText(ByteView bytes, std::size_t at, std::string_view text) {
    if (at > bytes.size() || bytes.size() - at < text.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (bytes[at + i] != static_cast<std::uint8_t>(text[i])) return false;
    }
    return true;
}

}  // namespace bkfd
