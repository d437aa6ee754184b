// Whether a program puts the screen together from the windows' pictures, with their alpha.
// Why it matters: without one the server shows every window opaque, and paints it anew when it is
// redirected; with one the windows are redirected already.
// Threads: the connection's. Errors: PlatformError.
#pragma once

#include <cstdint>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"

namespace quorvane::platform::x11 {

class CompositingManager {
  public:
    explicit CompositingManager(const Connection& connection);

    bool runs() const { return owner_ != 0; }
    // Whether the event was about it; runs() may be another answer then.
    bool handle(const Event& event);

  private:
    std::uint32_t selection_;
    std::uint8_t noticeType_;
    std::uint32_t owner_ = 0;
};

}  // namespace quorvane::platform::x11
