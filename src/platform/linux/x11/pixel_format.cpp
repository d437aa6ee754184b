#include "platform/linux/x11/pixel_format.h"

#include <bit>
#include <string>

#include <xcb/xcb.h>

#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

struct Visual {
    int depth = 0;
    const xcb_visualtype_t* type = nullptr;
};

Visual find(const xcb_screen_t& screen, std::uint32_t identifier) {
    auto depths = xcb_screen_allowed_depths_iterator(&screen);
    for (; depths.rem > 0; xcb_depth_next(&depths)) {
        auto visuals = xcb_depth_visuals_iterator(depths.data);
        for (; visuals.rem > 0; xcb_visualtype_next(&visuals)) {
            if (visuals.data->visual_id == identifier) return {depths.data->depth, visuals.data};
        }
    }
    return {};
}

bool hasWordsOf32Bits(const xcb_setup_t* setup, int depth) {
    auto formats = xcb_setup_pixmap_formats_iterator(setup);
    for (; formats.rem > 0; xcb_format_next(&formats)) {
        if (formats.data->depth == depth) return formats.data->bits_per_pixel == 32;
    }
    return false;
}

}  // namespace

pixels::PackedFormat pixelFormatOf(const Connection& connection, std::uint32_t visual) {
    const xcb_setup_t* setup = xcb_get_setup(connection.xcb());
    const Visual found = find(connection.screen(), visual);
    const bool sameByteOrder =
        setup->image_byte_order == (std::endian::native == std::endian::little
                                        ? XCB_IMAGE_ORDER_LSB_FIRST
                                        : XCB_IMAGE_ORDER_MSB_FIRST);
    if (found.type != nullptr && sameByteOrder && hasWordsOf32Bits(setup, found.depth)) {
        const auto hasMasks = [&](std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
            return found.type->red_mask == red && found.type->green_mask == green &&
                   found.type->blue_mask == blue;
        };
        // The upper byte of depth 32 is alpha. Colours are premultiplied by it, so without it they
        // show the window over black.
        if ((found.depth == 24 || found.depth == 32) && hasMasks(0xFF0000, 0xFF00, 0xFF)) {
            return pixels::PackedFormat::xrgb8888;
        }
        if (found.depth == 30 && hasMasks(0x3FF00000, 0xFFC00, 0x3FF)) {
            return pixels::PackedFormat::xrgb2101010;
        }
    }
    const char* what = visual == connection.screen().root_visual ? "screen" : "window";
    throw x11Error(Failure::unsupportedPixels, std::string("The X server's ") + what +
                                                   " has a color depth that cannot be recorded (" +
                                                   std::to_string(found.depth) + " bits).");
}

pixels::PackedFormat rootPixelFormat(const Connection& connection) {
    return pixelFormatOf(connection, connection.screen().root_visual);
}

}  // namespace quorvane::platform::x11
