#include "base/Text.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/LowerCase.h"
#include "base/RuntimeError.h"
#include "base/Surrogates.h"

namespace bkfd {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t point) {
    const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | (point >> 6));
        put(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        put(0xE0 | (point >> 12));
        put(0x80 | ((point >> 6) & 0x3F));
        put(0x80 | (point & 0x3F));
    } else {
        put(0xF0 | (point >> 18));
        put(0x80 | ((point >> 12) & 0x3F));
        put(0x80 | ((point >> 6) & 0x3F));
        put(0x80 | (point & 0x3F));
    }
}

/// Decodes one sequence at `position` and moves behind it. A malformed byte is taken alone.
char32_t DecodeOne(std::string_view utf8, std::size_t& position, bool keepSurrogates) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(utf8[i]); };
    const unsigned char first = byteAt(position);
    if (first < 0x80) {
        ++position;
        return first;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    constexpr std::array<char32_t, 5> kSmallest{0, 0, 0x80, 0x800, 0x10000};
    char32_t point = first & (0xFFU >> (length + 1));
    bool valid = first >= 0xC2 && first <= 0xF4 && position + length <= utf8.size();
    for (std::size_t i = 1; valid && i < length; ++i) {
        const unsigned char next = byteAt(position + i);
        valid = (next & 0xC0) == 0x80;
        point = (point << 6) | (next & 0x3FU);
    }
    valid = valid && point >= kSmallest[length] && point <= 0x10FFFF &&
            (keepSurrogates || !IsSurrogate(point));
    position += valid ? length : 1;
    return valid ? point : kReplacement;
}

Text Decode(std::string_view utf8, bool keepSurrogates) {
    Text out;
    out.reserve(utf8.size());
    for (std::size_t position = 0; position < utf8.size();) {
        AppendCharacter(out, DecodeOne(utf8, position, keepSurrogates));
    }
    return out;
}

std::string Encode(TextView text, bool keepSurrogates) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const char32_t point = NextCharacter(text, position);
        AppendUtf8(out, IsSurrogate(point) && !keepSurrogates ? kReplacement : point);
    }
    return out;
}

std::size_t CheckedLength(std::ptrdiff_t length) {
    if (length < 0) throw RuntimeError(ErrorNumber::InvalidProcedureCall);
    return static_cast<std::size_t>(length);
}

}  // namespace

Text FromUtf8(std::string_view utf8) {
    return Decode(utf8, false);
}
std::string ToUtf8(TextView text) {
    return Encode(text, false);
}
std::string ToWtf8(TextView text) {
    return Encode(text, true);
}
Text FromWtf8(std::string_view wtf8) {
    return Decode(wtf8, true);
}

Text FromBytes(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

Bytes ToBytes(TextView text) {
    Bytes bytes(text.size());
    std::ranges::transform(text, bytes.begin(),
                           [](char16_t unit) { return static_cast<std::uint8_t>(unit); });
    return bytes;
}

Text FromAscii(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

char16_t ToLower(char16_t unit) {
    if (unit < 0x80) return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
    const auto* range = std::ranges::lower_bound(kLowerCaseRanges, unit, {}, &LowerCaseRange::last);
    if (range == std::end(kLowerCaseRanges) || unit < range->first) return unit;
    if ((unit - range->first) % range->step != 0) return unit;
    return static_cast<char16_t>(unit + range->offset);
}

Text ToLower(TextView text) {
    Text lower(text);
    for (char16_t& unit : lower) unit = ToLower(unit);
    return lower;
}

bool EqualsIgnoreCase(TextView a, TextView b) {
    return a.size() == b.size() && std::ranges::equal(a, b, [](char16_t x, char16_t y) {
               return x == y || ToLower(x) == ToLower(y);
           });
}

int CompareIgnoreCase(TextView a, TextView b) {
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const char16_t x = ToLower(a[i]);
        const char16_t y = ToLower(b[i]);
        if (x != y) return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

Text Trim(TextView text) {
    const std::size_t first = text.find_first_not_of(u' ');
    if (first == TextView::npos) return {};
    return Text(text.substr(first, text.find_last_not_of(u' ') - first + 1));
}

std::size_t Find(TextView text, TextView what, std::size_t start) {
    if (start < 1 || start > text.size()) return 0;
    return text.find(what, start - 1) + 1;
}

std::size_t FindLast(TextView text, TextView what) {
    return text.rfind(what) + 1;
}

Text Left(TextView text, std::ptrdiff_t length) {
    return Text(text.substr(0, CheckedLength(length)));
}

Text Right(TextView text, std::ptrdiff_t length) {
    const std::size_t kept = std::min(CheckedLength(length), text.size());
    return Text(text.substr(text.size() - kept));
}

Text Mid(TextView text, std::ptrdiff_t start, std::ptrdiff_t length) {
    const std::size_t kept = CheckedLength(length);
    const std::size_t offset = CheckedLength(start - 1);
    return offset >= text.size() ? Text() : Text(text.substr(offset, kept));
}

Text Mid(TextView text, std::ptrdiff_t start) {
    return Mid(text, start, static_cast<std::ptrdiff_t>(text.size()));
}

Text Replace(TextView text, TextView what, TextView with, std::size_t start) {
    std::size_t done = std::min(std::max<std::size_t>(start, 1) - 1, text.size());
    Text out(text.substr(0, done));
    if (!what.empty()) {
        for (std::size_t hit; (hit = text.find(what, done)) != TextView::npos;) {
            out.append(text.substr(done, hit - done)).append(with);
            done = hit + what.size();
        }
    }
    return out.append(text.substr(done));
}

Text ToText(std::int64_t number) {
    std::array<char, 24> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return {digits.data(), end};
}

Text ToHex(std::uint32_t number) {
    Text digits(8, u'0');
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, number >>= 4) {
        *digit = u"0123456789ABCDEF"[number & 0xF];
    }
    return digits;
}

TextView UpToNul(TextView text) {
    return text.substr(0, text.find(u'\0'));
}

Text WithBackslash(TextView path) {
    Text result(path);
    if (!path.ends_with(u'\\')) result += u'\\';
    return result;
}

}  // namespace bkfd
