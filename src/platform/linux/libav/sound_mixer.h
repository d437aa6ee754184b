// The sum of several tracks' sound, limited by nothing but full scale.
// Units: frames are sample frames of the mix (track_sound.h). Threads: one at a time. Errors:
// PlatformError, domain "libav".
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "platform/linux/libav/libav_handles.h"

struct AVFilterContext;
struct AVFilterGraph;

namespace quorvane::platform::libav {

class SoundMixer {
  public:
    // Lent for the call.
    using Sink = std::function<void(const AVFrame&)>;

    // A factor for each track.
    SoundMixer(std::span<const float> volumes, Sink sink);
    ~SoundMixer();
    SoundMixer(const SoundMixer&) = delete;
    SoundMixer& operator=(const SoundMixer&) = delete;

    // Each track from the movie's begin on, without a gap. What comes of one track waits inside
    // until the others have come as far.
    void append(std::size_t track, FramePtr frame);
    // All tracks end, where each of them has come as far: what is inside comes out.
    void finish();

  private:
    struct Free {
        void operator()(AVFilterGraph* graph) const noexcept;
    };

    void drain();

    Sink sink_;
    std::unique_ptr<AVFilterGraph, Free> graph_;
    std::vector<AVFilterContext*> inputs_;  // the graph's, as the output
    AVFilterContext* output_ = nullptr;
    FramePtr mixed_;
};

}  // namespace quorvane::platform::libav
