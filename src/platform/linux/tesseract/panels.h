// Small panels of one colour that lie tightly around their text: selections, marked words, badges.
// Why: between such text and the panel's edge there is no room for background to be seen, so the
// panel would count as ink.
// Threads: pure, any. Errors: none.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/tesseract/grey_image.h"
#include "platform/linux/tesseract/pixel_box.h"

namespace quorvane::platform::tesseract {

struct Panel {
    PixelBox box;            // without the columns of rounded corners
    PixelBox outer;          // with them
    std::uint8_t value = 0;  // where there is no text
    int area() const { return box.width() * box.height(); }
};

// The larger ones first: a panel on a panel comes behind it.
std::vector<Panel> findPanels(const GreyImage& image);

}  // namespace quorvane::platform::tesseract
