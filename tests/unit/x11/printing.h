// How failing expectations show the adapter's values.
#pragma once

#include <ostream>

#include "platform/linux/x11/pixel_rect.h"

namespace quorvane::platform::x11 {

inline void PrintTo(const PixelRect& rect, std::ostream* out) {
    *out << rect.width << "x" << rect.height << "+" << rect.x << "+" << rect.y;
}

}  // namespace quorvane::platform::x11
