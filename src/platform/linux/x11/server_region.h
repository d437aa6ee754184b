// A set of pixels that lives in the server and is calculated there.
// Why there: the server makes regions of damage and shapes, and takes them as clips, without a
// round trip.
// Units: pixels. Threads: the connection's. Errors: what the server refuses is ignored (a window
// may vanish under every request); PlatformError when the connection is lost.
#pragma once

#include <cstdint>
#include <span>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/pixel_rect.h"
#include "platform/linux/x11/rect_visitor.h"

namespace quorvane::platform::x11 {

class ServerRegion {
  public:
    // Empty. The extension must have been readied (readyFixes).
    explicit ServerRegion(const Connection& connection);
    ~ServerRegion();
    ServerRegion(const ServerRegion&) = delete;
    ServerRegion& operator=(const ServerRegion&) = delete;

    std::uint32_t id() const { return id_; }

    void clear();
    void assign(const PixelRect& rect);
    void assign(std::span<const PixelRect> rects);
    void assign(const ServerRegion& other);
    // The window's bounding shape with its border, relative to what is inside of the border.
    void assignShapeOf(std::uint32_t window);
    // What the screen shows of the window and its border, relative to what is inside of the border.
    // Nothing of one that a compositing manager has redirected.
    void assignSeenOf(std::uint32_t window);
    void moveBy(int dx, int dy);
    void add(const ServerRegion& other);
    void intersect(const ServerRegion& other);
    void subtract(const ServerRegion& other);

    // Asks for its rectangles as they are now. Gives the request's number for receiveRects().
    unsigned requestRects() const;
    // Waits for the answer.
    void receiveRects(unsigned request, RectVisitor& visitor) const;

  private:
    const Connection& connection_;
    std::uint32_t id_;
};

}  // namespace quorvane::platform::x11
