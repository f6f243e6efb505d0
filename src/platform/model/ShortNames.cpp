#include "platform/model/ShortNames.h"

#include <algorithm>

#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

constexpr std::size_t kLongestBase = 8;
constexpr std::size_t kLongestExtension = 3;

/// Blanks and points are left out, and what MS-DOS takes for something else becomes "_".
Text AsDosCharacters(TextView part) {
    Text out;
    for (const char16_t unit : part) {
        if (unit == u' ' || unit == u'.') continue;
        out += TextView(u"+,;=[]").find(unit) == TextView::npos ? unit : u'_';
    }
    return out;
}

bool IsNumber(TextView digits) {
    return !digits.empty() && digits[0] != u'0' &&
           std::ranges::all_of(digits, [](char16_t c) { return c >= u'0' && c <= u'9'; });
}

struct NameParts {
    TextView base;
    TextView extension;
};

NameParts Split(TextView name) {
    const std::size_t point = name.rfind(u'.');
    if (point == TextView::npos || point == 0) return {name, {}};
    return {name.substr(0, point), name.substr(point + 1)};
}

}  // namespace

bool MayBeShortNameOf(TextView shortName, TextView longName) {
    // A name that MS-DOS could have has no other.
    if (WindowsPath::IsShortName(longName) || !WindowsPath::IsShortName(shortName)) return false;
    const NameParts given = Split(shortName);
    const NameParts full = Split(longName);
    const std::size_t tilde = given.base.rfind(u'~');
    if (tilde == TextView::npos || tilde == 0) return false;
    const TextView number = given.base.substr(tilde + 1);
    if (!IsNumber(number)) return false;
    const Text base = AsDosCharacters(full.base);
    // A longer number takes characters from the base, never fewer than it has.
    const std::size_t room = std::min<std::size_t>(6, kLongestBase - 1 - number.size());
    return EqualsIgnoreCase(given.base.substr(0, tilde), TextView(base).substr(0, room)) &&
           EqualsIgnoreCase(given.extension,
                            TextView(AsDosCharacters(full.extension)).substr(0, kLongestExtension));
}

}  // namespace bkfd
