#include "ui/terminal/PrintableText.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "base/Surrogates.h"

namespace bkfd {
namespace {

struct Range {
    char32_t first;
    char32_t last;
};

// C0 and C1 controls, format characters (general category Cf), surrogates, specials, and what
// Unicode calls default-ignorable: fillers, joiners and selectors that show nothing.
constexpr Range kUnprintable[] = {
    {0x0000, 0x001F},   {0x007F, 0x009F},   {0x00AD, 0x00AD},   {0x034F, 0x034F},
    {0x0600, 0x0605},   {0x061C, 0x061C},   {0x06DD, 0x06DD},   {0x070F, 0x070F},
    {0x0890, 0x0891},   {0x08E2, 0x08E2},   {0x115F, 0x1160},   {0x17B4, 0x17B5},
    {0x180B, 0x180F},   {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},
    {0x3164, 0x3164},   {0xD800, 0xDFFF},   {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},
    {0xFFA0, 0xFFA0},   {0xFFF0, 0xFFFC},   {0xFFFE, 0xFFFF},   {0x110BD, 0x110BD},
    {0x110CD, 0x110CD}, {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A},
    {0xE0000, 0xE0FFF},
};
constexpr Range kCombining[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A},
    {0x064B, 0x065F}, {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E},
    {0x1AB0, 0x1AFF}, {0x20D0, 0x20FF}, {0x3099, 0x309A}, {0xFE20, 0xFE2F},
};
// The blocks whose East Asian width is W or F, without the gaps inside them.
constexpr Range kWide[] = {
    {0x1100, 0x115F}, {0x2E80, 0x303E},   {0x3041, 0xA4CF},   {0xA960, 0xA97F},
    {0xAC00, 0xD7A3}, {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD},
};

template <std::size_t N>
bool IsIn(const Range (&ranges)[N], char32_t character) {
    return std::any_of(std::begin(ranges), std::end(ranges), [&](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

std::string Numbered(char16_t unit) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(unit));
    return buffer;
}

/// The code point at `position` of valid UTF-8, which moves on behind it.
char32_t Next(std::string_view utf8, std::size_t& position) {
    const auto lead = static_cast<unsigned char>(utf8[position++]);
    const int trailing = lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    char32_t character = trailing == 0 ? lead : lead & (0x3FU >> trailing);
    for (int i = 0; i < trailing && position < utf8.size(); ++i) {
        character = character << 6 | (static_cast<unsigned char>(utf8[position++]) & 0x3FU);
    }
    return character;
}

}  // namespace

bool IsPrintable(char32_t character) {
    return !IsIn(kUnprintable, character);
}

std::string PrintableText(TextView text, bool keepLines) {
    Text kept;
    std::string result;
    const auto flush = [&] {
        result += ToUtf8(kept);
        kept.clear();
    };
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const bool isPrintable = IsPrintable(NextCharacter(text, position));
        const TextView units = text.substr(start, position - start);
        if (isPrintable || (keepLines && units == u"\n")) {
            kept += units;
            continue;
        }
        if (keepLines && units == u"\r") continue;
        flush();
        for (const char16_t unit : units) result += Numbered(unit);
    }
    flush();
    return result;
}

std::size_t DisplayWidth(std::string_view utf8) {
    std::size_t width = 0;
    for (std::size_t position = 0; position < utf8.size();) {
        const char32_t character = Next(utf8, position);
        if (!IsIn(kCombining, character)) width += IsIn(kWide, character) ? 2 : 1;
    }
    return width;
}

}  // namespace bkfd
