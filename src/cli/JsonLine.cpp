#include "cli/JsonLine.h"

#include "base/Surrogates.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

void AppendEscape(std::string& line, char16_t unit) {
    line += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) line += kDigits[unit >> shift & 15];
}

}  // namespace

void AppendJsonString(std::string& line, TextView text) {
    line += '"';
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const char32_t character = NextCharacter(text, position);
        const TextView units = text.substr(start, position - start);
        if (character == u'"' || character == u'\\') {
            line += '\\';
            line += static_cast<char>(character);
        } else if (character >= 0x20 && character < 0x7F) {
            line += static_cast<char>(character);
        } else if (IsPrintable(character)) {
            line += ToUtf8(units);
        } else {
            for (const char16_t unit : units) AppendEscape(line, unit);
        }
    }
    line += '"';
}

}  // namespace bkfd
