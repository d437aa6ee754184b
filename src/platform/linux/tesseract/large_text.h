// Headlines: letters with strokes so wide that they look like background.
// Threads: pure, any. Errors: none.
#pragma once

#include "platform/linux/tesseract/background.h"
#include "platform/linux/tesseract/grey_image.h"

namespace quorvane::platform::tesseract {

// Gives large letters the background around them. They are looked for in a smaller copy of the
// image, where their strokes are narrow.
void revealLargeText(const GreyImage& image, Background& background);

}  // namespace quorvane::platform::tesseract
