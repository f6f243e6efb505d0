#include "cli/JsonLine.h"

#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

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

void AppendPair(std::string& line, TextView pair) {
    const char32_t character =
        0x10000 + (static_cast<char32_t>(pair[0] - 0xD800) << 10 | (pair[1] - 0xDC00U));
    if (IsPrintable(character)) {
        line += ToUtf8(pair);
    } else {
        for (const char16_t unit : pair) AppendEscape(line, unit);
    }
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
            AppendPair(line, text.substr(i++, 2));
        } else if (!IsPrintable(unit)) {
            AppendEscape(line, unit);
        } else {
            line += ToUtf8(text.substr(i, 1));
        }
    }
    line += '"';
}

}  // namespace bkfd
