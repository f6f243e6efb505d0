#pragma once

#include "windows/MirroredWindow.h"

namespace bkfd {

/// How the window's list is drawn: red cells, rows, dividers, tips; and what covers what.
class MirrorLooks : public MirroredWindow {
  public:
    void Looks();

  private:
    /// What stands at the client position of the window, and is seen there.
    HWND At(const Control& window, long x, long y);
    bool LooksDefault(const Control& button);
    bool LastColumnFits();
    RECT CellOf(const ListView& view, WPARAM row, int column);
    /// The colour at the cell's right end, where no text is.
    COLORREF BackgroundOf(const ListView& view, WPARAM row, int column);
    /// Whether the cell's text is seen in red.
    bool ShowsRed(const ListView& view, WPARAM row, int column);
    void RedCells();
    /// A selected row is seen without the focus, in any colours of the system.
    void RestingRow();
    void DragDivider(int to);
    void Dividers();
    /// The whole text of a cell that is cut off is shown where the mouse rests on it.
    void CellTips();
};

}  // namespace bkfd
