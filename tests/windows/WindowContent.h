#pragma once

#include <windows.h>

#include <string>
#include <vector>

/// What a window of another program shows, read by messages.

using Lines = std::vector<std::wstring>;
using Windows = std::vector<HWND>;

/// Stands for a line end in a line.
constexpr wchar_t kLineEnd = L'\u00B6';

std::wstring Without(std::wstring text, wchar_t dropped);

std::wstring TextOf(HWND window);
std::wstring ClassOf(HWND window);
bool HasStyle(HWND window, LONG_PTR style);

/// The visible ones, with those in them; of a null window those of the desktop.
Windows VisibleWindows(HWND window);

/// A line each: "tab N", "label TEXT", "button TEXT" with " (grey)" behind one that can't be
/// pressed, "edit TEXT", "row CELL | CELL" of a list view and "line TEXT" of a list box, with a ">"
/// behind "row" or "line" of the selected one.
Lines ContentOf(HWND window);
