// The form in which the server holds the pixels of a visual.
// Threads: the connection's. Errors: PlatformError for a form that is none that we know.
#pragma once

#include <cstdint>

#include "pixels/packed_pixels.h"
#include "platform/linux/x11/connection.h"

namespace quorvane::platform::x11 {

pixels::PackedFormat pixelFormatOf(const Connection& connection, std::uint32_t visual);
pixels::PackedFormat rootPixelFormat(const Connection& connection);

}  // namespace quorvane::platform::x11
