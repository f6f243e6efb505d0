#pragma once

#include <windows.h>

#include <commctrl.h>

#include <string>

#include "base/Text.h"

namespace bkfd::native {

/// The one place that knows which calls the system's family has: wide ones on the NT family, ANSI
/// ones on the Windows 95 family.
bool IsWide();

/// A text as the native windows take it: wide or in the ANSI code page, ended by a NUL. NULs inside
/// become U+FFFD, so that what stands behind them is still seen.
class NativeText {
  public:
    explicit NativeText(TextView text);
    LPARAM Param() const;
    /// For the few wide calls that both families have.
    const wchar_t* Wide() const { return reinterpret_cast<const wchar_t*>(wide_.c_str()); }
    /// In bytes, with the NUL.
    std::size_t Size() const {
        return IsWide() ? (wide_.size() + 1) * sizeof(char16_t) : ansi_.size() + 1;
    }
    /// For structures whose wide and ANSI forms differ in the type of the text alone.
    wchar_t* Field() const { return reinterpret_cast<wchar_t*>(Param()); }

  private:
    std::u16string wide_;
    std::string ansi_;
};

/// The message's number on this family.
inline UINT Either(UINT wide, UINT ansi) {
    return IsWide() ? wide : ansi;
}

HWND Create(DWORD extendedStyle, TextView className, TextView text, DWORD style, const RECT& area,
            HWND parent, HMENU menu = nullptr);
/// Registers a window class of this program, once.
void RegisterWindowClass(const char* name, WNDPROC procedure, UINT style);
LRESULT Send(HWND window, UINT message, WPARAM wParam = 0, LPARAM lParam = 0);
LRESULT CallDefault(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT CallOriginal(WNDPROC procedure, HWND window, UINT message, WPARAM wParam, LPARAM lParam);
WNDPROC ReplaceProcedure(HWND window, WNDPROC procedure);
void SetTextOf(HWND window, TextView text);
Text TextOf(HWND window);
bool Peek(MSG& message);
/// False at the end of the program's messages.
bool Wait(MSG& message);
void Dispatch(const MSG& message);
/// The dialog keys: Tab, arrows, letters with Alt. True if the message was one and is done with.
bool IsDialogKey(HWND form, MSG& message);
void AppendMenuEntry(HMENU menu, UINT flags, UINT_PTR id, TextView caption);
/// In pixels, with line breaks; `&` counts as itself.
SIZE Measure(HDC device, TextView text);
/// An icon of the program's resources, or null. It may have another size than the one asked for.
HICON LoadIconResource(TextView name, int width, int height);
/// A bitmap of the program's resources in its own size, or null. For a `width` beyond its own it is
/// the one named `name`_LARGE, if that is there.
HBITMAP LoadBitmapResource(TextView name, int width);

Text ReadClipboard();
void WriteClipboard(TextView text);

/// Whether the user has asked for high contrast: colours are then the system's alone.
bool IsHighContrast();

}  // namespace bkfd::native
