// A picture of one byte a pixel, and how one is made of colours.
// Threads: values, any. Errors: none.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/image_source.h"

namespace quorvane::platform::tesseract {

struct GreyImage {
    GreyImage() = default;
    GreyImage(int imageWidth, int imageHeight, std::uint8_t value = 0)
        : width(imageWidth),
          height(imageHeight),
          pixels(static_cast<std::size_t>(imageWidth) * static_cast<std::size_t>(imageHeight),
                 value) {}

    std::uint8_t* row(int y) { return pixels.data() + static_cast<std::ptrdiff_t>(y) * width; }
    const std::uint8_t* row(int y) const {
        return pixels.data() + static_cast<std::ptrdiff_t>(y) * width;
    }

    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;  // rows from the top, without anything between them
};

// Not the eye's brightness: by that, blue on black and yellow on white, which screens do show, are
// as good as invisible. Here each primary is a quarter or more of the whole.
GreyImage greyImage(const Image& image);

}  // namespace quorvane::platform::tesseract
