#pragma once

#include <windows.h>

#include <functional>
#include <vector>

namespace bkfd::native {

/// Moves the child windows of a form: one by one, or those of a batch together, so that nothing
/// flickers while a window is laid out anew.
class Placements {
  public:
    /// `area` is in pixels of the window's parent.
    void Move(HWND window, const RECT& area);
    /// What is moved while `layOut` runs is moved when it is done. Batches may stand in each other:
    /// the outermost moves all.
    void InBatch(const std::function<void()>& layOut);
    /// The window goes, and is not to be moved any more.
    void Forget(HWND window);

  private:
    struct Placement {
        HWND window;
        RECT area;
    };

    void MoveAll();

    std::vector<Placement> waiting_;
    int batches_ = 0;
};

}  // namespace bkfd::native
