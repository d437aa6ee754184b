// Where on the root window a rectangle of the main screen lies.
// Threads: pure. Errors: none.
#pragma once

#include "platform/linux/x11/pixel_rect.h"
#include "support/geometry.h"

namespace quorvane::platform::x11 {

// The rectangle's origin is the lower left of the main screen, y upwards; its edges go to the
// nearest pixel. Empty when it has no pixel. Never larger than the root window, and near enough to
// it for the server's 16-bit numbers.
PixelRect placeOnRoot(const support::Rect& rect, const PixelRect& mainScreen, int rootWidth,
                      int rootHeight);

}  // namespace quorvane::platform::x11
