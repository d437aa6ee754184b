// Collects what an audio source delivers, and reads tones, beeps and times from it.
// Threads: onSamples() on the source's thread, everything else on the test's.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/audio_source.h"
#include "support/mutex.h"

namespace quorvane::test {

inline constexpr int soundRate = 48000;

support::MediaTime hostTime();

class CapturedSound {
  public:
    platform::AudioSource::OnSamples onSamples();

    // Sample frames delivered so far.
    std::size_t frames() const;
    bool waitForFrames(std::size_t count) const;
    // The frames once none has come for so long; nothing when they go on coming for 5 s more.
    std::optional<std::size_t> framesOnceQuiet(std::chrono::milliseconds quiet) const;
    // Waits for sound that was heard at the time or later.
    bool waitForTime(support::MediaTime time) const;

    // The amplitude of the frequency in a channel over the last frames. Pure tones only: the window
    // should hold whole periods.
    double amplitude(double frequency, int channel, std::size_t lastFrames = 4800) const;
    // Waits for a tenth of a second in which the amplitude was the expected one.
    bool waitForTone(double frequency, double expected, double tolerance, int channel = 0) const;
    // The time of the first sample from the time on that is louder than the threshold.
    std::optional<support::MediaTime> firstLoudSample(support::MediaTime from,
                                                      float threshold) const;

    // The largest difference between the end of a buffer and the start of the next, since so many
    // frames; positive for gaps.
    std::chrono::nanoseconds largestStepSince(std::size_t frame) const;
    bool timesNeverGoBack() const;
    std::optional<support::MediaTime> firstTime() const;
    std::optional<support::MediaTime> endTime() const;
    // Faults in the form of what was delivered; empty when there were none.
    std::string faults() const;

  private:
    struct Buffer {
        support::MediaTime start;
        std::size_t firstFrame;
        std::size_t frames;
    };

    void add(const platform::SampleBuffer& sample);

    mutable support::Mutex mutex_;
    std::vector<Buffer> buffers_ QUORVANE_GUARDED_BY(mutex_);
    std::vector<float> samples_ QUORVANE_GUARDED_BY(mutex_);
    std::string faults_ QUORVANE_GUARDED_BY(mutex_);
};

}  // namespace quorvane::test
