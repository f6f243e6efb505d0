#include "cli/JsonLine.h"

namespace bkfd {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

struct Range {
    char16_t first;
    char16_t last;
};
/// What isn't written as it is, beside quotes and backslashes: controls, invisible characters and
/// those that turn the writing direction.
constexpr Range kEscaped[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},
                              {0x061C, 0x061C}, {0x200B, 0x200F}, {0x2028, 0x202E},
                              {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF0, 0xFFFF}};

bool IsEscaped(char16_t unit) {
    for (const Range& range : kEscaped) {
        if (unit >= range.first && unit <= range.last) return true;
    }
    return false;
}

bool IsHigh(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLow(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void AppendEscape(std::string& line, char16_t unit) {
    line += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) line += kDigits[unit >> shift & 15];
}

}  // namespace

void AppendJsonString(std::string& line, TextView text) {
    line += '"';
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (unit == u'"' || unit == u'\\') {
            line += '\\';
            line += static_cast<char>(unit);
        } else if (unit >= 0x20 && unit < 0x7F) {
            line += static_cast<char>(unit);
        } else if (IsHigh(unit) && i + 1 < text.size() && IsLow(text[i + 1])) {
            line += ToUtf8(text.substr(i++, 2));
        } else if (IsHigh(unit) || IsLow(unit) || IsEscaped(unit)) {
            AppendEscape(line, unit);
        } else {
            line += ToUtf8(text.substr(i, 1));
        }
    }
    line += '"';
}

void AppendHex(std::string& line, ByteView bytes) {
    const std::size_t start = line.size();
    line.resize(start + 2 * bytes.size());
    char* digit = line.data() + start;
    for (const std::uint8_t byte : bytes) {
        *digit++ = kDigits[byte >> 4];
        *digit++ = kDigits[byte & 15];
    }
}

}  // namespace bkfd
