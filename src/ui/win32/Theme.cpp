#include "ui/win32/Theme.h"

#include "win32/DynamicCall.h"
#include "win32/WindowHandles.h"

namespace bkfd::native {
namespace {

using Theme = HANDLE;

/// The calls of visual styles, which systems before Windows XP lack.
struct VisualStyles {
    DynamicCall<Theme(WINAPI*)(HWND, const wchar_t*)> open{"uxtheme.dll", "OpenThemeData"};
    DynamicCall<HRESULT(WINAPI*)(Theme)> close{"uxtheme.dll", "CloseThemeData"};
    DynamicCall<HRESULT(WINAPI*)(Theme, HDC, int, int, const RECT*, const RECT*)> drawBackground{
        "uxtheme.dll", "DrawThemeBackground"};

    bool AreThere() const { return open.IsThere() && close.IsThere() && drawBackground.IsThere(); }
    static const VisualStyles& Get() {
        static const VisualStyles styles;
        return styles;
    }
};

struct ThemeTraits {
    using Type = Theme;
    static Theme Invalid() { return nullptr; }
    static void Close(Theme theme) { VisualStyles::Get().close(theme); }
};
using OwnedTheme = Owned<ThemeTraits>;

}  // namespace

// The page is drawn and looked at: its style may have a picture, and the colour that a style names
// is a hint alone.
COLORREF TabPageColour(HWND strip) {
    const VisualStyles& styles = VisualStyles::Get();
    const COLORREF plain = ::GetSysColor(COLOR_BTNFACE);
    if (!styles.AreThere()) return plain;
    const OwnedTheme theme(styles.open(strip, L"TAB"));
    if (!theme.IsThere()) return plain;
    constexpr int kTabPageBody = 10;  // TABP_BODY
    constexpr int kSide = 32;
    const RECT area = {0, 0, kSide, kSide};
    const WindowDevice screen(nullptr);
    const OwnedMemoryDevice memory(::CreateCompatibleDC(screen.Get()));
    const OwnedBitmap bitmap(::CreateCompatibleBitmap(screen.Get(), kSide, kSide));
    const Selected drawn(memory.Get(), bitmap.Get());
    ::FillRect(memory.Get(), &area, ::GetSysColorBrush(COLOR_BTNFACE));
    styles.drawBackground(theme.Get(), memory.Get(), kTabPageBody, 0, &area, nullptr);
    const COLORREF colour = ::GetPixel(memory.Get(), kSide / 2, kSide / 2);
    return colour == CLR_INVALID ? plain : colour;
}

}  // namespace bkfd::native
