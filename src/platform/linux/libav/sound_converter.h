// Sound of any PCM format into the form that the encoder takes: floats, a plane a channel, at one
// rate and number of channels, and played a little slower or faster on demand.
// Sound that is in that form but for its layout goes through unchanged, sample by sample.
// Units: frames are sample frames. Threads: one at a time. Errors: PlatformError, domain "libav".
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "platform/linux/libav/libav_handles.h"
#include "platform/sample_buffer.h"

namespace quorvane::platform::libav {

class SoundConverter {
  public:
    // Planes, lent for the call, and how many frames they have.
    using Sink = std::function<void(const float* const* planes, int frames)>;

    SoundConverter(int sampleRate, int channels);

    // Whether this sound can be converted at all: PCM of a known kind, in a usual number of
    // channels.
    static bool understands(const AudioFormat& format);
    // The frames that the buffer really has.
    static std::int64_t frames(const SampleBuffer& buffer);

    // All but the first frames to leave out, made longer by the stretch (0.001: by 0.1 %).
    void convert(const SampleBuffer& buffer, std::int64_t leaveOut, double stretch,
                 const Sink& sink);
    // What is still inside comes out; the next sound begins afresh.
    void drain(const Sink& sink);
    // How many frames are inside, at the rate of the output.
    double delay() const;

  private:
    void configure(const AudioFormat& format);
    void setStretch(double stretch);
    void run(const std::uint8_t** input, int frames, const Sink& sink);
    void makeRoom(int frames);

    int sampleRate_;
    int channels_;
    std::optional<AudioFormat> format_;  // what the resampler is set up for
    ResamplerPtr resampler_;
    double stretch_ = 0;
    std::vector<std::vector<float>> output_;
    std::vector<float*> planes_;
};

}  // namespace quorvane::platform::libav
