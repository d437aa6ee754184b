// Puts pictures of 32-bit words into a window: out of shared memory where the server can, else by
// copies over the connection.
// Why two buffers: one is painted while the server may still read the other; more would be a queue
// of old pictures.
// Threads: one at a time. Errors: PlatformError from the constructor alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "pixels/packed_pixels.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"

namespace quorvane::platform::x11 {

class BubbleSurface {
  public:
    // The window sees its own property changes, which is how the end of a copy is told. Waits for
    // the server, and shares memory for the largest picture at once, so that nothing later does:
    // pages that are never painted cost nothing.
    BubbleSurface(const Connection& connection, std::uint32_t window, std::uint8_t depth,
                  std::size_t largestArea);
    ~BubbleSurface();
    BubbleSurface(const BubbleSurface&) = delete;
    BubbleSurface& operator=(const BubbleSurface&) = delete;

    // Pictures have this size from now on; it is no larger than the largest area, in pixels.
    void setSize(int width, int height);
    // Whether there is a buffer that the server has done with.
    bool isFree() const;
    // A free buffer, to be painted. It holds what was painted there last, unless this says that
    // that is gone.
    pixels::PackedTarget begin(bool& isNew);
    // Sends the buffer of the last begin() to the window.
    void put();
    // Whether the event was about a buffer; then there may be a free one now.
    bool handle(const Event& event);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::x11
