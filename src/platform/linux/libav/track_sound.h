// The sound of one track as the movie plays it: from the movie's begin on, without a gap, in the
// form of the mix.
// Units: frames are sample frames of the mix. Threads: one at a time. Errors: PlatformError, domain
// "libav"; damaged sound is one.
#pragma once

#include <cstdint>
#include <functional>

#include "platform/linux/libav/libav_handles.h"

struct AVStream;

namespace quorvane::platform::libav {

constexpr int mixSampleRate = 48000;  // Hz, in stereo, floats, a plane a channel

class TrackSound {
  public:
    // A stretch of sound to keep or change: its pts is its place in frames.
    using Sink = std::function<void(FramePtr)>;

    TrackSound(const AVStream& stream, Sink sink);

    void decode(const AVPacket& packet);
    // Everything has been decoded: what is still inside comes out.
    void finish();
    // Silence up to that place, if the track has not come there yet; sound that belongs before it
    // and comes later is left out.
    void fillUpTo(std::int64_t position);
    // Where the track has come to.
    std::int64_t position() const { return position_; }

  private:
    void receive();
    void place(FramePtr frame);
    void convert(AVFrame* frame);  // null: what is still inside
    void append(FramePtr frame);

    Sink sink_;
    CodecPtr decoder_;
    ResamplerPtr resampler_;  // none for sound that is in the right form already
    bool joined_ = false;     // the next frame follows the last one if its time says so
    std::int64_t next_ = 0;   // its place then, in frames of the track's own rate
    int rate_ = 0;            // the track's own
    std::int64_t position_ = 0;
    std::int64_t leaveOut_ = 0;  // frames that come too late
};

}  // namespace quorvane::platform::libav
