// When a window that has to stay in front is brought there again.
// Why not at once every time: of two such windows each would cover the other for ever, as fast as
// the server can. Between two that fight the pauses grow; one that was covered once is back at
// once. Threads: one at a time. Errors: none.
#pragma once

#include <chrono>
#include <optional>

#include "support/media_time.h"

namespace quorvane::platform::x11 {

class RaisePacer {
  public:
    // Something may have come in front. Gives how long from now to raise the window; nothing when
    // a raise is on its way already.
    std::optional<std::chrono::nanoseconds> covered(support::MediaTime now);
    // The window is being raised.
    void raising(support::MediaTime now);
    // The server has moved the window: it really had been covered.
    void raised(support::MediaTime now);

  private:
    bool waiting_ = false;
    std::chrono::nanoseconds pause_{0};  // between two raises
    std::optional<support::MediaTime> lastRaise_;
    std::optional<support::MediaTime> lastSuccess_;
};

}  // namespace quorvane::platform::x11
