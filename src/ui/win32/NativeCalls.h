#pragma once

#include <windows.h>

#include <commctrl.h>

#include "base/Text.h"
#include "win32/NativeText.h"

namespace bkfd::native {

// The calls on windows of which each family has its own form; see win32/NativeText.h for the
// choice.

/// The message's number on this family.
inline UINT Either(UINT wide, UINT ansi) {
    return HasWideCalls() ? wide : ansi;
}

HWND Create(DWORD extendedStyle, TextView className, TextView text, DWORD style, const RECT& area,
            HWND parent, HMENU menu = nullptr);
/// Registers a window class of this program, once.
void RegisterWindowClass(const char* name, WNDPROC procedure, UINT style);
LRESULT Send(HWND window, UINT message, WPARAM wParam = 0, LPARAM lParam = 0);
LRESULT CallDefault(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT CallOriginal(WNDPROC procedure, HWND window, UINT message, WPARAM wParam, LPARAM lParam);
WNDPROC ReplaceProcedure(HWND window, WNDPROC procedure);
/// What a window does that has no procedure of its own.
WNDPROC DefaultProcedure();
/// `owner` may be null.
void SetOwner(HWND window, HWND owner);
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
/// With the flags of DrawText.
void DrawTextIn(HDC device, TextView text, RECT& area, UINT format);
/// Whether the user has asked for high contrast: colours are then the system's alone.
bool IsHighContrast();

}  // namespace bkfd::native
