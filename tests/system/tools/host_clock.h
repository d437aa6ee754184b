// The host's clock (CLOCK_MONOTONIC, nanoseconds) and sleeping until one of its times.
#pragma once

#include <cstdint>

namespace quorvane::tools {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

std::int64_t hostTime();
// Returns at once when the time has passed.
void sleepUntil(std::int64_t time);

}  // namespace quorvane::tools
