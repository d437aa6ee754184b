// Bytes as a GIF file: what comes out is a file of the same image that comes out once more.
#include <cstdint>
#include <cstdlib>

#include "platform/linux/tesseract/gif_first_image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using quorvane::platform::tesseract::gifFirstImage;
    const auto first = gifFirstImage({data, size});
    if (!first) return 0;
    const auto again = gifFirstImage(first->file);
    // A file that was cut short ends in other places with the end mark behind it.
    if (!again || again->width != first->width || again->height != first->height ||
        first->file.size() > size + 1)
        std::abort();
    return 0;
}
