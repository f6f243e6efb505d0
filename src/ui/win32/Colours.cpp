#include "ui/win32/Colours.h"

#include <cstdlib>

#include "ui/win32/NativeCalls.h"

namespace bkfd::native {
namespace {

int Brightness(COLORREF colour) {
    return (GetRValue(colour) * 3 + GetGValue(colour) * 6 + GetBValue(colour)) / 10;
}

int Contrast(COLORREF one, COLORREF other) {
    return std::abs(Brightness(one) - Brightness(other));
}

/// `quarters` of `part` in `base`.
COLORREF Tinted(COLORREF base, COLORREF part, int quarters) {
    const auto mix = [quarters](int much, int little) {
        return ((4 - quarters) * much + quarters * little) / 4;
    };
    return RGB(mix(GetRValue(base), GetRValue(part)), mix(GetGValue(base), GetGValue(part)),
               mix(GetBValue(base), GetBValue(part)));
}

}  // namespace

COLORREF LinkColour() {
    constexpr int kHotLight = 26;  // COLOR_HOTLIGHT
    constexpr COLORREF kBlue = RGB(0, 51, 153);
    constexpr int kLeastContrast = 80;
    const COLORREF background = ::GetSysColor(COLOR_BTNFACE);
    const COLORREF link = ::GetSysColor(kHotLight);
    if (::GetSysColorBrush(kHotLight) && Contrast(background, link) >= kLeastContrast) return link;
    return Contrast(background, kBlue) >= kLeastContrast ? kBlue : ::GetSysColor(COLOR_BTNTEXT);
}

Colours RestingSelection() {
    if (IsHighContrast()) {
        return {::GetSysColor(COLOR_HIGHLIGHTTEXT), ::GetSysColor(COLOR_HIGHLIGHT)};
    }
    constexpr int kLeastContrast = 24;
    const COLORREF text = ::GetSysColor(COLOR_WINDOWTEXT);
    const COLORREF rows = ::GetSysColor(COLOR_WINDOW);
    const COLORREF usual = ::GetSysColor(COLOR_BTNFACE);
    if (Contrast(rows, usual) >= kLeastContrast) return {text, usual};
    const COLORREF selection = ::GetSysColor(COLOR_HIGHLIGHT);
    const COLORREF light = Tinted(rows, selection, 1);
    return {text, Contrast(rows, light) >= kLeastContrast ? light : Tinted(rows, selection, 2)};
}

}  // namespace bkfd::native
