#pragma once

#include "base/Text.h"

/// UTF-16's pairs of units for characters beyond U+FFFF.
namespace bkfd {

constexpr bool IsHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}
constexpr bool IsSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDFFF;
}

/// Whether the unit at `position`, which is in the text, begins a pair.
constexpr bool IsPairAt(TextView text, std::size_t position) {
    return IsHighSurrogate(text[position]) && position + 1 < text.size() &&
           IsLowSurrogate(text[position + 1]);
}

/// The character at `position`, which is moved behind it; a lone surrogate stands for itself.
constexpr char32_t NextCharacter(TextView text, std::size_t& position) {
    const char32_t unit = text[position];
    if (!IsPairAt(text, position)) {
        ++position;
        return unit;
    }
    position += 2;
    return 0x10000 + ((unit - 0xD800) << 10) + (text[position - 1] - 0xDC00U);
}

/// Adds one unit, or a pair for a character beyond U+FFFF.
inline void AppendCharacter(Text& out, char32_t character) {
    if (character < 0x10000) {
        out.push_back(static_cast<char16_t>(character));
        return;
    }
    out.push_back(static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (character & 0x3FF)));
}

}  // namespace bkfd
