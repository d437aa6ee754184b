// The first image of a GIF file, by itself.
// Why: the decoder reads all images of a film before it gives the first, each as large as it says,
// and knows nothing of transparency.
// Threads: pure, any. Errors: nothing comes of what is no GIF file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/linux/tesseract/first_image.h"

namespace quorvane::platform::tesseract {

// What is transparent is white in its file.
std::optional<FirstImage> gifFirstImage(std::span<const std::uint8_t> file);

}  // namespace quorvane::platform::tesseract
