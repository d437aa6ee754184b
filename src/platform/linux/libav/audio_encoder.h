// One track's sound into AAC: each buffer at its place in time, silence where there is none.
// Units: frames are sample frames of the track. Threads: one at a time. Errors: PlatformError in
// the domain "libav".
#pragma once

#include <cstdint>
#include <optional>

#include "isobmff/movie_header.h"
#include "platform/linux/libav/encoded_sample.h"
#include "platform/linux/libav/libav_handles.h"
#include "platform/linux/libav/sound_converter.h"
#include "platform/movie_writer.h"
#include "platform/sample_buffer.h"
#include "support/audio_timeline.h"

namespace quorvane::platform::libav {

class AudioEncoder {
  public:
    // The sink takes what is encoded. Throws when these settings cannot be encoded.
    AudioEncoder(const AudioInputSettings& settings, EncodedSampleSink sink);

    const isobmff::TrackDescription& description() const { return description_; }

    // The host time of the track's begin; first of all.
    void start(support::MediaTime begin);
    // Sound without a time or in an unknown form is left out.
    void append(const SampleBuffer& buffer);
    // Silence up to that time, if the track has not come there yet.
    void fillUpTo(support::MediaTime time);
    // Silence up to the end if need be; then everything comes out. The end in the track's ticks.
    std::int64_t finish(support::MediaTime end);

  private:
    // Where the next frame goes, fractions included, if the converter is drained before.
    double position() const;
    void fillUpTo(std::int64_t position);
    void silence(std::int64_t frames);
    void consume(const float* const* planes, std::int64_t frames);  // null planes: silence
    void encodeFrame();
    void drain();

    EncodedSampleSink sink_;
    CodecPtr codec_;
    FramePtr frame_;
    PacketPtr packet_;
    isobmff::TrackDescription description_;
    SoundConverter converter_;
    SoundConverter::Sink consumeConverted_;
    std::optional<support::AudioTimeline> timeline_;  // from start()
    std::int64_t consumed_ = 0;                       // frames
    int filled_ = 0;                                  // frames in frame_
};

}  // namespace quorvane::platform::libav
