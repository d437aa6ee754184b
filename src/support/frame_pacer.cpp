#include "support/frame_pacer.h"

#include <algorithm>

namespace quorvane::support {

MediaTime FramePacer::due(MediaTime change) const {
    if (!last_ || interval_.count() == 0) return change;
    return std::max({change, *last_ + interval_ - slack, theoreticalArrival_ - interval_});
}

void FramePacer::captured(MediaTime time) {
    theoreticalArrival_ = (last_ ? std::max(time, theoreticalArrival_) : time) + interval_;
    last_ = time;
}

}  // namespace quorvane::support
