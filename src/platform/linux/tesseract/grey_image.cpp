#include "platform/linux/tesseract/grey_image.h"

namespace quorvane::platform::tesseract {

GreyImage greyImage(const Image& image) {
    constexpr int red = 80;
    constexpr int green = 108;
    constexpr int blue = 68;
    static_assert(red + green + blue == 256);
    GreyImage grey(image.width, image.height);
    const std::uint8_t* colours = image.pixels.data();
    for (auto& pixel : grey.pixels) {
        pixel = static_cast<std::uint8_t>(
            (red * colours[0] + green * colours[1] + blue * colours[2]) / 256);
        colours += 3;
    }
    return grey;
}

}  // namespace quorvane::platform::tesseract
