// The first image of an animated WebP file, by itself.
// Why: the decoder takes files of one image only.
// Threads: pure, any. Errors: nothing comes of what is no animated WebP file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/linux/tesseract/first_image.h"

namespace quorvane::platform::tesseract {

std::optional<FirstImage> webpFirstImage(std::span<const std::uint8_t> file);

}  // namespace quorvane::platform::tesseract
