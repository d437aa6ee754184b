// Bytes as an image file: an image whose pixels are all there, or none.
#include <cstdint>
#include <cstdlib>

#include "fuzz/memory_file.h"
#include "platform/linux/tesseract/leptonica_image_source.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using quorvane::platform::tesseract::LeptonicaImageSource;
    const quorvane::fuzz::MemoryFile file(data, size);
    const auto image = LeptonicaImageSource().firstImage(file.path());
    if (!image) return 0;
    const auto pixels = static_cast<long>(image->width) * image->height;
    if (image->width < 1 || image->height < 1 ||
        pixels > LeptonicaImageSource::greatestPixelCount ||
        image->pixels.size() != 3 * static_cast<std::size_t>(pixels))
        std::abort();
    return 0;
}
