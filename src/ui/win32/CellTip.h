#pragma once

#include "base/Text.h"
#include "win32/WindowHandles.h"

namespace bkfd::native {

/// Shows the whole text of a list's cell that is cut off, when the mouse rests on it. Nothing is
/// shown where the system has no tooltips.
class CellTip {
  public:
    void Attach(HWND list);
    bool IsAttached() const { return tip_.IsThere(); }
    /// The cell under the mouse, in client pixels of the list, and its text; empty for none that is
    /// cut off.
    void Point(const RECT& cell, const Text& text);
    /// Every mouse message of the list, behind `Point`.
    void Relay(UINT message, WPARAM wParam, LPARAM lParam) const;

  private:
    LRESULT Tell(UINT wide, UINT ansi, const RECT& cell, const Text& text) const;

    OwnedWindow tip_;
    HWND list_ = nullptr;
    RECT cell_ = {};
    Text text_;
};

}  // namespace bkfd::native
