#include "host_clock.h"

#include <ctime>

namespace quorvane::tools {

std::int64_t hostTime() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * nanosecondsPerSecond + now.tv_nsec;
}

void sleepUntil(std::int64_t time) {
    timespec until{};
    until.tv_sec = time / nanosecondsPerSecond;
    until.tv_nsec = time % nanosecondsPerSecond;
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) != 0) {
    }
}

}  // namespace quorvane::tools
