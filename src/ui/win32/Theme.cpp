#include "ui/win32/Theme.h"

namespace bkfd::native {
namespace {

/// The calls of visual styles, which systems before Windows XP lack.
struct VisualStyles {
    using Theme = HANDLE;

    VisualStyles() : library(::LoadLibraryA("uxtheme.dll")) {
        Find(OpenThemeData, "OpenThemeData");
        Find(CloseThemeData, "CloseThemeData");
        Find(DrawThemeBackground, "DrawThemeBackground");
    }
    template <class Call>
    void Find(Call& call, const char* name) {
        if (!library) return;
        call = reinterpret_cast<Call>(reinterpret_cast<void*>(::GetProcAddress(library, name)));
    }
    bool AreThere() const { return OpenThemeData && CloseThemeData && DrawThemeBackground; }

    HMODULE library;
    Theme(WINAPI* OpenThemeData)(HWND, const wchar_t*) = nullptr;
    HRESULT(WINAPI* CloseThemeData)(Theme) = nullptr;
    HRESULT(WINAPI* DrawThemeBackground)(Theme, HDC, int, int, const RECT*, const RECT*) = nullptr;
};

}  // namespace

// The page is drawn and looked at: its style may have a picture, and the colour that a style names
// is a hint alone.
COLORREF TabPageColour(HWND strip) {
    static const VisualStyles styles;
    const COLORREF plain = ::GetSysColor(COLOR_BTNFACE);
    if (!styles.AreThere()) return plain;
    const VisualStyles::Theme theme = styles.OpenThemeData(strip, L"TAB");
    if (!theme) return plain;
    constexpr int kTabPageBody = 10;  // TABP_BODY
    constexpr int kSide = 32;
    const RECT area = {0, 0, kSide, kSide};
    const HDC screen = ::GetDC(nullptr);
    const HDC memory = ::CreateCompatibleDC(screen);
    const HBITMAP bitmap = ::CreateCompatibleBitmap(screen, kSide, kSide);
    const HGDIOBJ before = ::SelectObject(memory, bitmap);
    ::FillRect(memory, &area, ::GetSysColorBrush(COLOR_BTNFACE));
    styles.DrawThemeBackground(theme, memory, kTabPageBody, 0, &area, nullptr);
    const COLORREF colour = ::GetPixel(memory, kSide / 2, kSide / 2);
    ::SelectObject(memory, before);
    ::DeleteObject(bitmap);
    ::DeleteDC(memory);
    ::ReleaseDC(nullptr, screen);
    styles.CloseThemeData(theme);
    return colour == CLR_INVALID ? plain : colour;
}

}  // namespace bkfd::native
