#include "ui/win32/LongText.h"

#include "base/Surrogates.h"

namespace bkfd::native {
namespace {

Text WithoutMiddle(const Text& text) {
    constexpr std::size_t kStart = 700;
    constexpr std::size_t kEnd = 300;
    if (text.size() <= kStart + kEnd) return text;
    return text.substr(0, kStart) + u" \u2026 " + text.substr(text.size() - kEnd);
}

Text Folded(const Text& text) {
    constexpr std::size_t kLongestWord = 100;
    constexpr int kMostBreaks = 10;
    Text folded;
    std::size_t length = 0;
    int breaks = 0;
    for (const char16_t unit : text) {
        if (length >= kLongestWord && !IsLowSurrogate(unit)) {
            folded += u'\n';
            length = 0;
        }
        const bool isBreak = unit == u'\n' || unit == u'\r';
        folded += isBreak && ++breaks > kMostBreaks ? u' ' : unit;
        length = unit == u' ' || isBreak ? 0 : length + 1;
    }
    return folded;
}

}  // namespace

Text FittedText(const Text& text) {
    return Folded(WithoutMiddle(text));
}

}  // namespace bkfd::native
