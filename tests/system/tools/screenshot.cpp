// screenshot: writes what the screen shows to standard output: a line "WIDTH HEIGHT", then the rows
// of pixels, each the bytes blue, green, red and one more. It needs no extension of the server's.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

int main() {
    int number = 0;
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> server(
        xcb_connect(nullptr, &number), &xcb_disconnect);
    const xcb_setup_t* setup = xcb_get_setup(server.get());
    if (setup == nullptr || setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return 1;
    const xcb_screen_t* screen = xcb_setup_roots_iterator(setup).data;
    const std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> image(
        xcb_get_image_reply(
            server.get(),
            xcb_get_image(server.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, 0, 0,
                          screen->width_in_pixels, screen->height_in_pixels, 0xFFFFFFFF),
            nullptr),
        &std::free);
    if (!image) return 1;
    const auto size = static_cast<std::size_t>(xcb_get_image_data_length(image.get()));
    const auto pixels = std::size_t{screen->width_in_pixels} * screen->height_in_pixels;
    if (size != 4 * pixels) return 1;
    std::printf("%d %d\n", screen->width_in_pixels, screen->height_in_pixels);
    return std::fwrite(xcb_get_image_data(image.get()), 1, size, stdout) == size ? 0 : 1;
}
