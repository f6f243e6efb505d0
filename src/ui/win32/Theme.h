#pragma once

#include "ui/win32/NativeCalls.h"

namespace bkfd::native {

/// The colour of the page of a tab strip under the current visual style; the colour of windows
/// where there is none, or no visual styles at all.
COLORREF TabPageColour(HWND strip);

}  // namespace bkfd::native
