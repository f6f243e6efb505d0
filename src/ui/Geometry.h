#pragma once

namespace bkfd {

/// Lengths are in twips, 1440 to the inch, and become pixels in the toolkit.
struct Size {
    int width = 0;
    int height = 0;

    bool operator==(const Size&) const = default;
};

/// Where a control stands in its container's client area.
struct Bounds {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;

    Size Extent() const { return {width, height}; }
    bool operator==(const Bounds&) const = default;
};

}  // namespace bkfd
