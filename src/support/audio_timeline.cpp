#include "support/audio_timeline.h"

#include <algorithm>
#include <cmath>

namespace quorvane::support {
namespace {

using Seconds = std::chrono::duration<double>;

// The displacement is averaged over this time, which takes a jitter of 2 ms well below the point
// where a correction begins.
constexpr double averagingTime = 1.0;  // s
// A displacement is taken back in about this time. Twice the averaging time settles without
// swinging.
constexpr double correctionTime = 2.0;  // s

}  // namespace

AudioPlacement AudioTimeline::place(MediaTime time, std::int64_t frames, int rate,
                                    double position) {
    const double due = Seconds(time - start_).count();
    const double displacement = due - position / sampleRate_;
    if (!joined_ || std::abs(displacement) > Seconds(jump).count())
        return placeExactly(displacement, frames, rate);

    const double length = static_cast<double>(frames) / rate;
    const bool sameSide = (displacement < 0) == (average_ < 0);
    displacedFor_ =
        sameSide && std::abs(displacement) > Seconds(step).count() ? displacedFor_ + length : 0;
    if (displacedFor_ >= Seconds(stepProof).count())
        return placeExactly(displacement, frames, rate);

    average_ += (displacement - average_) * (1 - std::exp(-length / averagingTime));
    if (std::abs(average_) > Seconds(driftBegins).count()) correcting_ = true;
    if (std::abs(average_) < Seconds(driftEnds).count()) correcting_ = false;
    if (!correcting_) return {};
    return {.stretch = std::clamp(average_ / correctionTime, -mostStretch, mostStretch)};
}

AudioPlacement AudioTimeline::placeExactly(double displacement, std::int64_t frames, int rate) {
    interrupt();
    AudioPlacement placement;
    if (displacement >= 0) {
        placement.silence = std::llround(displacement * sampleRate_);
    } else {
        placement.trim =
            std::min(frames, static_cast<std::int64_t>(std::llround(-displacement * rate)));
    }
    joined_ = placement.trim < frames;
    return placement;
}

void AudioTimeline::interrupt() {
    joined_ = false;
    average_ = 0;
    displacedFor_ = 0;
    correcting_ = false;
}

std::int64_t AudioTimeline::positionAt(MediaTime time) const {
    return std::max<std::int64_t>(0, std::llround(Seconds(time - start_).count() * sampleRate_));
}

}  // namespace quorvane::support
