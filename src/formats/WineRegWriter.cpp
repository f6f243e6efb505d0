#include "formats/WineRegWriter.h"

#include <cstdio>

#include "base/Utf16Bytes.h"
#include "formats/LittleEndian.h"
#include "formats/RegTextData.h"

namespace bkfd {
namespace {

constexpr std::uint64_t kTicksTo1970 = 116'444'736'000'000'000;  // of 100 ns, from 1601
constexpr std::uint64_t kTicksASecond = 10'000'000;
constexpr std::size_t kWidth = 76;

template <class... Numbers>
std::string Print(const char* format, Numbers... numbers) {
    char room[40];
    std::snprintf(room, sizeof room, format, numbers...);
    return room;
}

bool IsOctal(char16_t unit) {
    return unit >= u'0' && unit <= u'7';
}

bool IsHexadecimal(char16_t unit) {
    return (unit >= u'0' && unit <= u'9') || (unit >= u'a' && unit <= u'f') ||
           (unit >= u'A' && unit <= u'F');
}

/// With all digits where a digit follows that would be taken for one of them.
std::string Escape(char16_t unit, char16_t next) {
    constexpr std::string_view kLetters = ".......abtnvfr.............e....";
    const auto number = static_cast<unsigned>(unit);
    if (unit > 126) return Print(IsHexadecimal(next) ? "\\x%04x" : "\\x%x", number);
    if (kLetters[unit] != '.') return {'\\', kLetters[unit]};
    return Print(IsOctal(next) ? "\\%03o" : "\\%o", number);
}

/// `marks` are those that stand around the text.
std::string Escaped(TextView text, std::string_view marks) {
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (unit < 32 || unit > 126) {
            escaped += Escape(unit, i + 1 < text.size() ? text[i + 1] : u'\0');
            continue;
        }
        const char character = static_cast<char>(unit);
        if (character == '\\' || marks.find(character) != std::string_view::npos) escaped += '\\';
        escaped += character;
    }
    return escaped;
}

/// Text with a NUL at its end, which is left out; other data of a text's type is told in bytes.
bool IsTerminated(const Bytes& data) {
    return data.size() >= 2 && data.size() % 2 == 0 && data[data.size() - 1] == 0 &&
           data[data.size() - 2] == 0;
}

std::string HexLines(std::string line, const Bytes& data) {
    std::string lines;
    for (std::size_t i = 0; i < data.size(); ++i) {
        line += Print("%02x", static_cast<unsigned>(data[i]));
        if (i + 1 == data.size()) break;
        line += ',';
        if (line.size() <= kWidth) continue;
        lines += line + "\\\n";
        line = "  ";
    }
    return lines + line + '\n';
}

}  // namespace

std::string FormatWineKey(TextView path, std::uint64_t time) {
    const std::uint64_t seconds = time < kTicksTo1970 ? 0 : (time - kTicksTo1970) / kTicksASecond;
    std::string lines = '[' + Escaped(path, "[]") + ']';
    lines += Print(" %llu\n", static_cast<unsigned long long>(seconds));
    return lines + Print("#time=%llx\n", static_cast<unsigned long long>(time));
}

std::string FormatWineValue(TextView name, std::uint32_t type, const Bytes& data) {
    std::string line = name.empty() ? "@=" : '"' + Escaped(name, "\"") + "\"=";
    if (regtext::IsTextType(type) && IsTerminated(data)) {
        if (type != regtext::kString) line += Print("str(%x):", type);
        const Text text = FromUtf16Bytes(data);
        return line + '"' + Escaped(TextView(text).substr(0, text.size() - 1), "\"") + "\"\n";
    }
    if (type == regtext::kDword && data.size() == 4) {
        return line + Print("dword:%08x\n", Read32(data, 0));
    }
    line += type == regtext::kBinary ? std::string("hex:") : Print("hex(%x):", type);
    return HexLines(std::move(line), data);
}

}  // namespace bkfd
