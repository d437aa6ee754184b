// Pictures into H.264, High profile, by libx264: each picture comes out before the next goes in.
// Threads: one at a time. Errors: PlatformError in the domain "libav".
#pragma once

#include <cstdint>
#include <optional>

#include "isobmff/movie_header.h"
#include "platform/linux/libav/encoded_sample.h"
#include "platform/linux/libav/libav_handles.h"
#include "platform/movie_writer.h"
#include "platform/sample_buffer.h"

namespace quorvane::platform::libav {

class VideoEncoder {
  public:
    static constexpr std::uint32_t timescale = isobmff::movieTimescale;

    // Throws when these settings cannot be encoded.
    VideoEncoder(const VideoInputSettings& settings, int cores);

    const isobmff::TrackDescription& description() const { return description_; }

    // The time is in ticks and greater than the one before. The picture's memory is free again, as
    // far as the encoder is concerned, when this returns.
    void encode(const SampleBufferPtr& sample, std::int64_t time, const EncodedSampleSink& sink);
    void flush(const EncodedSampleSink& sink);

  private:
    bool needsKeyframe(std::int64_t time) const;
    void spendBitsFor(std::int64_t time);
    void drain(const EncodedSampleSink& sink);

    int frameRate_;
    std::int64_t bitRate_;
    CodecPtr codec_;
    FramePtr frame_;
    PacketPtr packet_;
    isobmff::TrackDescription description_;
    std::optional<std::int64_t> lastTime_;
    std::optional<std::int64_t> lastKeyframe_;
};

}  // namespace quorvane::platform::libav
