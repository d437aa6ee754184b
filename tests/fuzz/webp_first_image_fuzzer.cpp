// Bytes as an animated WebP file: what comes out is a still image no larger than what went in.
#include <cstdint>
#include <cstdlib>

#include "platform/linux/tesseract/webp_first_image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using quorvane::platform::tesseract::webpFirstImage;
    const auto first = webpFirstImage({data, size});
    if (!first) return 0;
    if (first->width < 1 || first->height < 1 || first->left < 0 || first->top < 0 ||
        first->canvasWidth < 1 || first->canvasHeight < 1 || first->file.size() > size ||
        webpFirstImage(first->file))
        std::abort();
    return 0;
}
