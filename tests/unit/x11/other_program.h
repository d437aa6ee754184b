// A program of another process that shows a window, and perhaps a frame as window managers make
// them. It ends with this object.
#pragma once

#include <cstdint>

#include <sys/types.h>

#include "platform/linux/x11/pixel_rect.h"
#include "unit/x11/x_server.h"

namespace quorvane::platform::x11 {

class OtherProgram {
  public:
    // Returns when its windows are on the screen. Made before the test has threads.
    OtherProgram(const XServer& server, const PixelRect& rect, std::uint32_t pixel,
                 const PixelRect& frame = {}, std::uint32_t framePixel = 0);
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;
    ~OtherProgram();

    pid_t process() const { return process_; }
    std::uint32_t window() const { return window_; }
    std::uint32_t frame() const { return frame_; }
    // Fills its window in another colour. Returns when it has.
    void draw() const;

  private:
    pid_t process_ = -1;
    int commands_ = -1;
    int answers_ = -1;
    std::uint32_t window_ = 0;
    std::uint32_t frame_ = 0;
};

}  // namespace quorvane::platform::x11
