#pragma once

#include <windows.h>

#include "ui/Control.h"

namespace bkfd::native {

/// Turns twips, a 1440th of an inch, into pixels and back.
class PixelScale {
  public:
    explicit PixelScale(int dotsPerInch) : dotsPerInch_(dotsPerInch) {}

    int ToPixels(int twips) const { return ::MulDiv(twips, dotsPerInch_, kTwipsPerInch); }
    int ToTwips(int pixels) const { return ::MulDiv(pixels, kTwipsPerInch, dotsPerInch_); }
    /// The edges are rounded, not the sizes: neighbours meet without a gap.
    RECT ToPixels(const Bounds& bounds) const {
        return {ToPixels(bounds.left), ToPixels(bounds.top), ToPixels(bounds.left + bounds.width),
                ToPixels(bounds.top + bounds.height)};
    }
    /// Where the control stands in its container. A container's size is rounded by itself: what
    /// ends at its edge isn't cut off.
    RECT AreaOf(const Control& control) const {
        RECT area = ToPixels(control.Area());
        if (dynamic_cast<const Container*>(&control)) {
            area.right = area.left + ToPixels(control.Width());
            area.bottom = area.top + ToPixels(control.Height());
        }
        return area;
    }

  private:
    static constexpr int kTwipsPerInch = 1440;

    int dotsPerInch_;
};

}  // namespace bkfd::native
