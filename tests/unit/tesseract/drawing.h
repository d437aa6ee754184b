// Pictures drawn pixel by pixel, and how failures show places in them.
#pragma once

#include <algorithm>
#include <ostream>

#include "platform/linux/tesseract/grey_image.h"
#include "platform/linux/tesseract/pixel_box.h"

namespace quorvane::platform::tesseract {

inline void PrintTo(const PixelBox& box, std::ostream* stream) {
    *stream << box.left << ' ' << box.top << ' ' << box.right << ' ' << box.bottom;
}

inline void fill(GreyImage& image, const PixelBox& box, std::uint8_t value) {
    for (int y = box.top; y < box.bottom; ++y)
        std::fill_n(image.row(y) + box.left, box.width(), value);
}

// Strokes two pixels wide with gaps of three, as letters stand, on the box's whole height.
inline void drawStrokes(GreyImage& image, const PixelBox& box, std::uint8_t value) {
    for (int x = box.left; x + 2 <= box.right; x += 5)
        fill(image, {x, box.top, x + 2, box.bottom}, value);
}

}  // namespace quorvane::platform::tesseract
