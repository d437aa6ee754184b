#include "platform/linux/pipewire/sound_delivery.h"

#include <algorithm>
#include <utility>

namespace quorvane::platform::pipewire {

SoundDelivery::SoundDelivery(AudioSource::OnSamples onSamples) : onSamples_(std::move(onSamples)) {}

void SoundDelivery::deliver(CycleRing& ring, std::chrono::nanoseconds heardAfter) noexcept {
    const CapturedCycle& cycle = *ring.front();
    const support::MediaTime measured(std::chrono::nanoseconds(cycle.graphTime) + heardAfter);
    const SoundTimeline::Placement place = timeline_.place(measured, cycle.frames);
    try {
        ring.skip(place.skip);
        handOn(ring, place.start, cycle.frames - place.skip);
    } catch (...) {
        // No memory, or the receiver failed: a gap in the sound, and the recording goes on.
    }
    ring.pop();
}

void SoundDelivery::handOn(CycleRing& ring, support::MediaTime start, std::size_t frames) {
    if (limit_) {
        // The limit may be the earliest time there is.
        const auto until = std::max(*limit_, start) - start;
        if (until <= timeline_.durationOf(frames)) reachedLimit_ = true;
        std::size_t wanted = 0;
        if (until > std::chrono::nanoseconds::zero()) {
            // Frames that begin before the limit. Far from it the product would not fit.
            wanted = until > std::chrono::seconds(60)
                         ? frames
                         : static_cast<std::size_t>((until.count() * soundRate + 999'999'999) /
                                                    1'000'000'000);
        }
        frames = std::min(frames, wanted);
    }
    std::size_t done = 0;
    while (done < frames) {
        const std::size_t count = std::min(frames - done, SoundBuffer::capacity);
        auto buffer = buffers_.make();
        ring.read(buffer->samples(), count);
        buffer->describe(start + timeline_.durationOf(done), count);
        onSamples_(std::move(buffer));
        done += count;
    }
}

void SoundDelivery::limit(support::MediaTime end) {
    limit_ = end;
}

bool SoundDelivery::reachedLimit() const {
    return reachedLimit_;
}

}  // namespace quorvane::platform::pipewire
