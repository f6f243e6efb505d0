#pragma once

#include <windows.h>

namespace bkfd::native {

struct Colours {
    COLORREF text;
    COLORREF background;
};

/// For links on a window's background. Windows 95 has no such colour, and some colour schemes have
/// one that can't be read there.
COLORREF LinkColour();

/// Of a list's selected row while the focus is elsewhere: seen in every scheme, also where the
/// system's own choice is the colour of the rows around it. Other colours of text can be read on
/// it, except in high contrast, where there are none.
Colours RestingSelection();

}  // namespace bkfd::native
