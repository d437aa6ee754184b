// Where an image has lines of text: letters that stand side by side.
// Why not the engine's own layout analysis: made for pages of prose, it joins the columns, buttons
// and table cells of a screen into one line, or overlooks them, and needs the image enlarged for
// it. Threads: pure, any. Errors: none.
#pragma once

#include <vector>

#include "platform/linux/tesseract/background.h"
#include "platform/linux/tesseract/grey_image.h"
#include "platform/linux/tesseract/ink_shapes.h"
#include "platform/linux/tesseract/pixel_box.h"

namespace quorvane::platform::tesseract {

struct TextLine {
    PixelBox box;  // of the ink
    Ink ink = Ink::dark;
};

// Candidates: what looks like text by its shape. From top to bottom, then from left to right.
std::vector<TextLine> findTextLines(const GreyImage& image, const Background& background);

// The lines that the shapes of one ink make up.
std::vector<PixelBox> joinIntoLines(const std::vector<InkShape>& shapes);

}  // namespace quorvane::platform::tesseract
