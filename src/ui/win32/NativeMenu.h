#pragma once

#include <windows.h>

#include <vector>

#include "ui/Menu.h"

namespace bkfd::native {

/// The menu bar of a form's window.
class NativeMenuBar {
  public:
    /// Takes over the visible menus and entries, in the place of what the window had.
    void Replace(HWND window, const std::vector<MenuItem*>& menus);
    /// The entry that a WM_COMMAND of the window means, or null.
    MenuItem* Find(UINT id) const;

  private:
    std::vector<Weak<MenuItem>> entries_;  // by number, from 1 through all menus
};

/// Shows the visible entries of a popup menu at a place of the screen and waits for the choice, or
/// null. `window` gets the menu's messages.
MenuItem* TrackPopup(HWND window, MenuItem& menu, POINT place);

}  // namespace bkfd::native
