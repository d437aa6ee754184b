// The first image of a GIF file, by itself.
// Why: the decoder reads all images of a film before it gives the first, each as large as it says,
// and knows nothing of transparency.
// Threads: pure, any. Errors: nothing comes of what is no GIF file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace quorvane::platform::tesseract {

struct GifFirstImage {
    std::vector<std::uint8_t> file;  // a GIF file of this image alone; what is transparent is white
    // Pixels: the image, and the canvas on which it stands.
    int width = 0;
    int height = 0;
    int left = 0;
    int top = 0;
    int canvasWidth = 0;
    int canvasHeight = 0;
};

std::optional<GifFirstImage> gifFirstImage(std::span<const std::uint8_t> file);

}  // namespace quorvane::platform::tesseract
