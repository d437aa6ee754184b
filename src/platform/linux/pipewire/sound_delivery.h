// Makes sample buffers of captured stretches and hands them on.
// Why apart from the connection: time goes on and memory is used again when the server restarts.
// Threads: one. Errors: sound for which there is no memory is dropped.
#pragma once

#include <chrono>
#include <optional>

#include "platform/linux/audio_source.h"
#include "platform/linux/pipewire/cycle_ring.h"
#include "platform/linux/pipewire/sound_buffer.h"
#include "platform/linux/pipewire/sound_timeline.h"
#include "support/media_time.h"

namespace quorvane::platform::pipewire {

class SoundDelivery {
  public:
    explicit SoundDelivery(AudioSource::OnSamples onSamples);

    // Hands on the ring's oldest stretch, which was heard so long after its graph time, and takes
    // it out of the ring.
    void deliver(CycleRing& ring, std::chrono::nanoseconds heardAfter) noexcept;
    // Nothing that was captured at this time or later is handed on from now on.
    void limit(support::MediaTime end);
    // Whether all sound up to the limit was handed on.
    bool reachedLimit() const;

  private:
    void handOn(CycleRing& ring, support::MediaTime start, std::size_t frames);

    AudioSource::OnSamples onSamples_;
    SoundTimeline timeline_{soundRate};
    SoundBufferPool buffers_;
    std::optional<support::MediaTime> limit_;
    bool reachedLimit_ = false;
};

}  // namespace quorvane::platform::pipewire
