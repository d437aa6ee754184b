// Where captured sound belongs on a track that runs without a gap from the recording's start.
// Why not one buffer after the other: buffers are lost, devices come and go, and a device's clock
// is not the host's. A buffer's own time decides: what is missing becomes silence, what came twice
// is left out, and a drift of the clock is taken back by playing a little slower or faster, so that
// sound and picture stay together however long the recording is. Times that merely jitter change
// nothing, for then the samples go through untouched.
// Units: frames are sample frames, of the track where nothing else is said.
// Threads: a value, one thread at a time. Errors: none.
#pragma once

#include <chrono>
#include <cstdint>

#include "support/media_time.h"

namespace quorvane::support {

// What happens to one buffer, in this order.
struct AudioPlacement {
    std::int64_t silence = 0;  // frames of silence before it
    std::int64_t trim = 0;     // frames of the buffer, at its rate, left out at its front
    double stretch = 0;        // how much longer the rest lasts: 0.001 is 0.1 % longer

    bool operator==(const AudioPlacement&) const = default;
};

class AudioTimeline {
  public:
    // A displacement beyond this is a gap or an overlap at once.
    static constexpr std::chrono::nanoseconds jump = std::chrono::milliseconds(50);
    // A displacement beyond the first that has lasted for the second is a gap or an overlap, too: a
    // lost period of a sound server is 21 ms.
    static constexpr std::chrono::nanoseconds step = std::chrono::milliseconds(15);
    static constexpr std::chrono::nanoseconds stepProof = std::chrono::milliseconds(250);
    // The averaged displacement at which a correction by speed begins, and at which it ends.
    static constexpr std::chrono::nanoseconds driftBegins = std::chrono::milliseconds(2);
    static constexpr std::chrono::nanoseconds driftEnds = std::chrono::microseconds(200);
    // Half a percent is a twelfth of a semitone.
    static constexpr double mostStretch = 0.005;

    AudioTimeline(int sampleRate, MediaTime start) : sampleRate_(sampleRate), start_(start) {}

    // Places a buffer of so many frames at its rate, captured at that time, on a track that has
    // come to the position, in frames from the start.
    AudioPlacement place(MediaTime time, std::int64_t frames, int rate, double position);
    // Something else was written to the track: the next buffer is placed exactly at its time.
    void interrupt();
    // The position that belongs to a time; not below 0.
    std::int64_t positionAt(MediaTime time) const;

  private:
    AudioPlacement placeExactly(double displacement, std::int64_t frames, int rate);

    int sampleRate_;
    MediaTime start_;
    bool joined_ = false;      // the buffer before this one ends where the track ends
    double average_ = 0;       // of the displacement, in seconds
    double displacedFor_ = 0;  // seconds for which the displacement has been beyond a step
    bool correcting_ = false;
};

}  // namespace quorvane::support
