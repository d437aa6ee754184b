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
    bool waitForFrames(std::size_t count,
                       std::chrono::milliseconds patience = std::chrono::seconds(5)) const;
    // Waits for sound that was heard at the time or later.
    bool waitForTime(support::MediaTime time,
                     std::chrono::milliseconds patience = std::chrono::seconds(5)) const;

    // The amplitude of the frequency in a channel over the last frames. Pure tones only: the window
    // should hold whole periods.
    double amplitude(double frequency, int channel, std::size_t lastFrames = 4800) const;
    bool waitForTone(double frequency, double amplitude, double tolerance,
                     std::chrono::milliseconds patience = std::chrono::seconds(5)) const;
    // The time of the first sample from the time on that is louder than the threshold.
    std::optional<support::MediaTime> firstLoudSample(support::MediaTime from,
                                                      float threshold) const;
    // The loudest sample since so many frames.
    float loudestSince(std::size_t frame) const;

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
