// The connected shapes that stand out from their background: letters, and whatever else is drawn.
// Threads: pure, any. Errors: none.
#pragma once

#include <vector>

#include "platform/linux/tesseract/background.h"
#include "platform/linux/tesseract/grey_image.h"
#include "platform/linux/tesseract/pixel_box.h"

namespace quorvane::platform::tesseract {

// The faintest ink that counts: what is disabled on a screen is hardly fainter.
constexpr int leastInk = 24;

enum class Ink { dark, light };  // than its background

struct InkShape {
    PixelBox box;
    int background = 0;  // the value around its uppermost pixels
};

// How much ink a pixel has, 0 to 255.
inline int inkAt(std::uint8_t value, std::uint8_t background, Ink ink) {
    const int difference = ink == Ink::dark ? background - value : value - background;
    return std::max(0, difference);
}

// Shapes are connected along rows, columns and diagonals; in the order of their upper edges.
std::vector<InkShape> findInkShapes(const GreyImage& image, const Background& background, Ink ink);

}  // namespace quorvane::platform::tesseract
