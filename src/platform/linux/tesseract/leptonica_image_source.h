// Image files by Leptonica: PNG, JPEG, TIFF, WebP, GIF and BMP.
#pragma once

#include "platform/image_source.h"

namespace quorvane::platform::tesseract {

// What is transparent shows white. A photograph's orientation tag is not applied. Images of more
// than greatestPixelCount and files of more than greatestFileSize are no images to it.
// Threads: one call at a time. The decoders print warnings, so standard error is away during a
// call.
class LeptonicaImageSource final : public ImageSource {
  public:
    static constexpr long greatestPixelCount = 1L << 26;  // two 4K screens wide, four high
    static constexpr long greatestFileSize = 1L << 29;    // bytes

    std::optional<Image> firstImage(const std::string& path) override;
};

}  // namespace quorvane::platform::tesseract
