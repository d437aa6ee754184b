// What a picture looks like without its text.
// Why: text stands dark on light and light on dark side by side in one screenshot, on panels,
// buttons and selections of every colour. Against its own background all of it is just ink.
// Threads: pure, any. Errors: none.
#pragma once

#include "platform/linux/tesseract/grey_image.h"

namespace quorvane::platform::tesseract {

struct Background {
    GreyImage image;    // the background's value at every pixel
    int tolerance = 0;  // how much a background varies in itself: noise, compression
};

// Background is where nothing changes within a few pixels, which no small letter's stroke is wide
// enough for, and on small panels; every other pixel has the background that is nearest.
Background estimateBackground(const GreyImage& image);

}  // namespace quorvane::platform::tesseract
