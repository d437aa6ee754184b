// Long thin lines: underlines, borders, separators.
// Why: an underline ties the letters that it touches to one shape, a border a whole window.
// Threads: pure, any. Errors: none.
#pragma once

#include "platform/linux/tesseract/background.h"
#include "platform/linux/tesseract/grey_image.h"

namespace quorvane::platform::tesseract {

// Takes the lines out of the image, down to their background; strokes that cross them stay.
void removeRules(GreyImage& image, const Background& background);

}  // namespace quorvane::platform::tesseract
