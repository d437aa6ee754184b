// When the next frame may be captured: at once, unless the frame rate forbids it.
// Why two limits: a strict distance from frame to frame turns one late frame into a lag that every
// following frame of a source at the same rate keeps for good. So two frames may come one
// millisecond closer together than the interval, which heals a lag by that much a frame, and a
// virtual schedule of one frame an interval, which a frame may run ahead of by one interval, holds
// a faster source to exactly the frame rate on average.
// Units: host time. Threads: a value, one thread at a time. Errors: none.
#pragma once

#include <chrono>
#include <optional>

#include "support/media_time.h"

namespace quorvane::support {

class FramePacer {
  public:
    // How much closer together than the interval two frames may be. A millisecond is the precision
    // with which sources and timers keep their own rate.
    static constexpr std::chrono::nanoseconds slack = std::chrono::milliseconds(1);

    // The interval must not be negative; zero means no limit.
    explicit FramePacer(std::chrono::nanoseconds interval) : interval_(interval) {}

    // The earliest moment, not before the change itself, at which the change may be captured.
    MediaTime due(MediaTime change) const;
    // A frame was captured at that moment.
    void captured(MediaTime time);

  private:
    std::chrono::nanoseconds interval_;
    std::optional<MediaTime> last_;
    MediaTime theoreticalArrival_{};  // of the next frame in the virtual schedule; valid with last_
};

}  // namespace quorvane::support
