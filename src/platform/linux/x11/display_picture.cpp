#include "platform/linux/x11/display_picture.h"

#include <xcb/xcb.h>

#include "platform/linux/x11/capture_geometry.h"
#include "platform/linux/x11/pixel_format.h"

namespace quorvane::platform::x11 {

PictureSource displaySource(const Connection& connection, const Display& display,
                            const support::Rect& sourceRect) {
    const xcb_screen_t& screen = connection.screen();
    PictureSource source;
    source.drawable = connection.root();
    const PixelRect whole = pixelRectOf(display.frame);
    source.rect = pixelRectOf(sourceRect).movedBy(whole.x, whole.y);
    source.existing = intersectionOf(intersectionOf(source.rect, whole),
                                     {0, 0, screen.width_in_pixels, screen.height_in_pixels});
    source.format = rootPixelFormat(connection);
    return source;
}

DisplayPicture::DisplayPicture(const Connection& connection, const Display& display,
                               const support::Rect& sourceRect, std::uint32_t furtherRootEvents)
    : source_(displaySource(connection, display, sourceRect)),
      watch_(connection, display, source_.existing, furtherRootEvents),
      damage_(connection, connection.root()) {}

bool DisplayPicture::handle(const Event& event) {
    return damage_.handle(event) || watch_.handle(event);
}

void DisplayPicture::receive(RectVisitor& visitor) {
    damage_.receive([&](const PixelRect& rect) { visitor(rect); });
}

}  // namespace quorvane::platform::x11
