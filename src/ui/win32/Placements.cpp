#include "ui/win32/Placements.h"

#include <utility>

#include "ui/win32/Scope.h"

namespace bkfd::native {

void Placements::Move(HWND window, const RECT& area) {
    waiting_.push_back({window, area});
    if (batches_ == 0) MoveAll();
}

void Placements::InBatch(const std::function<void()>& layOut) {
    {
        const Scope batch(batches_);
        layOut();
    }
    if (batches_ == 0) MoveAll();
}

void Placements::Forget(HWND window) {
    std::erase_if(waiting_, [&](const Placement& each) { return each.window == window; });
}

// One step can move windows of one parent alone.
void Placements::MoveAll() {
    std::vector<Placement> moved = std::exchange(waiting_, {});
    const auto parentOf = [](const Placement& each) { return ::GetParent(each.window); };
    while (!moved.empty()) {
        const HWND parent = parentOf(moved.front());
        HDWP step = ::BeginDeferWindowPos(static_cast<int>(moved.size()));
        for (const Placement& each : moved) {
            if (parentOf(each) != parent || !step) continue;
            const RECT& area = each.area;
            step = ::DeferWindowPos(step, each.window, nullptr, area.left, area.top,
                                    area.right - area.left, area.bottom - area.top,
                                    SWP_NOZORDER | SWP_NOACTIVATE);
        }
        if (step) ::EndDeferWindowPos(step);
        std::erase_if(moved, [&](const Placement& each) { return parentOf(each) == parent; });
    }
}

}  // namespace bkfd::native
