// One line of text as the engine reads it best: dark on white, alone, and of the right size.
// Threads: pure, any. Errors: none.
#pragma once

#include "platform/linux/tesseract/background.h"
#include "platform/linux/tesseract/grey_image.h"
#include "platform/linux/tesseract/text_lines.h"

namespace quorvane::platform::tesseract {

// The line's ink in full contrast on white, with a margin, enlarged or made smaller.
GreyImage linePicture(const GreyImage& image, const Background& background, const TextLine& line);

}  // namespace quorvane::platform::tesseract
