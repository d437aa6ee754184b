// Puts stretches of sound one after the other in time.
// Why: the graph measures each stretch anew, a little early or late. Written down as measured, a
// steady sound would be full of tiny gaps and overlaps; here it is seamless, while the slow drift
// of a device's clock stays visible and a real gap stays a gap.
// Threads: one. Errors: none.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

#include "support/media_time.h"

namespace quorvane::platform::pipewire {

class SoundTimeline {
  public:
    // A difference below this is jitter or drift and is followed softly; from here on it is a gap,
    // or an overlap, and is taken at once. A graph's clock jitters by far less, and a picture that
    // is this much off its sound looks right.
    static constexpr std::chrono::nanoseconds tolerance = std::chrono::milliseconds(4);

    struct Placement {
        support::MediaTime start;  // of the first frame that is kept
        std::size_t skip = 0;      // leading frames whose time is covered already
    };

    explicit SoundTimeline(int sampleRate) : sampleRate_(sampleRate) {}

    // Starts never go back. What is followed softly may overlap by a fraction of the tolerance,
    // which is what following a slow clock means; nothing else overlaps.
    Placement place(support::MediaTime measured, std::size_t frames);

    std::chrono::nanoseconds durationOf(std::size_t frames) const;

  private:
    const int sampleRate_;  // Hz
    std::optional<support::MediaTime> end_;
};

}  // namespace quorvane::platform::pipewire
