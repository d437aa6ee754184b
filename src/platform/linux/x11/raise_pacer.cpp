#include "platform/linux/x11/raise_pacer.h"

#include <algorithm>

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

// Twenty a second cost nothing while other windows are dragged about, and nobody sees the delay.
constexpr std::chrono::nanoseconds shortestPause = 50ms;
constexpr std::chrono::nanoseconds longestPause = 2s;
// Two that were needed within this time are a fight.
constexpr std::chrono::nanoseconds fightTime = 3s;

}  // namespace

std::optional<std::chrono::nanoseconds> RaisePacer::covered(support::MediaTime now) {
    if (waiting_) return std::nullopt;
    waiting_ = true;
    if (!lastRaise_) return 0ns;
    return std::max<std::chrono::nanoseconds>(0ns,
                                              *lastRaise_ + std::max(pause_, shortestPause) - now);
}

void RaisePacer::raising(support::MediaTime now) {
    waiting_ = false;
    lastRaise_ = now;
}

void RaisePacer::raised(support::MediaTime now) {
    const bool fight = lastSuccess_ && now - *lastSuccess_ < fightTime;
    pause_ = fight ? std::min(std::max(pause_ * 2, shortestPause), longestPause) : 0ns;
    lastSuccess_ = now;
}

}  // namespace quorvane::platform::x11
