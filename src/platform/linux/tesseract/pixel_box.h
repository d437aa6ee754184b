// A rectangle of whole pixels: origin at the upper left, y downwards, right and bottom behind the
// last pixel.
// Threads: values, any. Errors: none.
#pragma once

#include <algorithm>

namespace quorvane::platform::tesseract {

struct PixelBox {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    bool operator==(const PixelBox&) const = default;

    int width() const { return right - left; }
    int height() const { return bottom - top; }
    bool contains(const PixelBox& other) const {
        return left <= other.left && top <= other.top && right >= other.right &&
               bottom >= other.bottom;
    }
    PixelBox unionWith(const PixelBox& other) const {
        return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
                std::max(bottom, other.bottom)};
    }
};

// How many pixels two spans have in common; negative is the gap between them.
inline int overlap(int begin, int end, int otherBegin, int otherEnd) {
    return std::min(end, otherEnd) - std::max(begin, otherBegin);
}

}  // namespace quorvane::platform::tesseract
