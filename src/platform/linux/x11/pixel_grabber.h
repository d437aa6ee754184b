// Fetches pixels of a window or a pixmap.
// Why several rectangles at a time: their requests travel together, and while one is converted the
// server fetches the next.
// Units: pixels of the drawable. Threads: the connection's. Errors: PlatformError when the
// connection is lost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "pixels/packed_pixels.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/pixel_rect.h"

namespace quorvane::platform::x11 {

class PixelGrabber {
  public:
    virtual ~PixelGrabber() = default;
    // Asks for the rectangles' pixels, of 32 bits each. They have no more pixels together than the
    // grabber was made for, and next() is called for each before the next request.
    virtual void request(std::uint32_t drawable, std::span<const PixelRect> rects) = 0;
    // The pixels of the next rectangle, which may be written to, until the next call. False when
    // the server refused, which it does when a rectangle is not (or no more) within the drawable.
    virtual bool next(pixels::PackedTarget& result) = 0;
};

// By shared memory where server and client can share some, else by copies over the connection.
std::unique_ptr<PixelGrabber> makePixelGrabber(const Connection& connection, std::size_t pixels,
                                               std::size_t maximumRects);

}  // namespace quorvane::platform::x11
