// The first image of a film, by itself.
// Units: pixels. Threads: values, any. Errors: none.
#pragma once

#include <cstdint>
#include <vector>

namespace quorvane::platform::tesseract {

struct FirstImage {
    std::vector<std::uint8_t> file;  // of this image alone
    // The image, and the canvas on which it stands.
    int width = 0;
    int height = 0;
    int left = 0;
    int top = 0;
    int canvasWidth = 0;
    int canvasHeight = 0;
};

}  // namespace quorvane::platform::tesseract
