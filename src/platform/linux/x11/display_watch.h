// Watches the display that is recorded: its region must not lie elsewhere from one picture to the
// next.
// Threads: the connection's. Errors: PlatformError.
#pragma once

#include <cstdint>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/pixel_rect.h"
#include "platform/shareable_content.h"

namespace quorvane::platform::x11 {

class DisplayWatch {
  public:
    // `existing` is what is captured of the root window. `furtherRootEvents` are the root window's
    // other events that the connection needs: a connection has one mask a window.
    DisplayWatch(const Connection& connection, const Display& display, const PixelRect& existing,
                 std::uint32_t furtherRootEvents = 0);

    bool handle(const Event& event);
    // Something must be looked at again.
    void notice() { noticed_ = true; }
    // Throws when the display is gone or has changed. Asks the server only when there was a notice,
    // and says whether.
    bool check();

  private:
    const Connection& connection_;
    const Display display_;
    const PixelRect existing_;
    std::uint8_t noticeType_;  // RandR's first event
    bool noticed_ = true;
};

}  // namespace quorvane::platform::x11
