#include "platform/linux/pipewire/sound_timeline.h"

#include <algorithm>
#include <cstdint>

namespace quorvane::platform::pipewire {
namespace {

// The share of a small difference that one stretch makes good. With the usual 21 ms stretches a
// device that drifts by 100 ppm is followed 34 us behind.
constexpr int followed = 16;

}  // namespace

std::chrono::nanoseconds SoundTimeline::durationOf(std::size_t frames) const {
    const auto wide = static_cast<std::int64_t>(frames);
    return std::chrono::nanoseconds(wide * 1'000'000'000 / sampleRate_);
}

SoundTimeline::Placement SoundTimeline::place(support::MediaTime measured, std::size_t frames) {
    Placement placement{measured, 0};
    if (end_) {
        const auto difference = measured - *end_;
        if (difference >= tolerance) {
            placement.start = measured;
        } else if (difference > -tolerance) {
            placement.start = *end_ + difference / followed;
        } else {
            const std::int64_t covered = (-difference).count();
            // A whole second covers any stretch; the bound keeps the product in range.
            const std::int64_t skip = covered >= 1'000'000'000
                                          ? static_cast<std::int64_t>(frames)
                                          : (covered * sampleRate_ + 999'999'999) / 1'000'000'000;
            placement.skip = std::min(frames, static_cast<std::size_t>(skip));
            placement.start = std::max(*end_, measured + durationOf(placement.skip));
        }
        if (placement.skip == frames) return placement;
    }
    end_ = placement.start + durationOf(frames - placement.skip);
    return placement;
}

}  // namespace quorvane::platform::pipewire
