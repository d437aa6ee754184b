// The two clocks of the program.
#pragma once

#include <chrono>
#include <cstdint>

namespace quorvane::support {

// The host clock: what every presentation time is measured on. On Linux CLOCK_MONOTONIC, the clock
// of PipeWire's graph. It has no now(): whoever needs the time is given a Clock (dispatch.h).
struct HostClock {
    using rep = std::int64_t;
    using period = std::nano;
    using duration = std::chrono::nanoseconds;
    using time_point = std::chrono::time_point<HostClock>;
    static constexpr bool is_steady = true;
};

using MediaTime = HostClock::time_point;
using WallTime = std::chrono::sys_time<std::chrono::nanoseconds>;

inline double secondsSince1970(WallTime time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

}  // namespace quorvane::support
