// One capture's sound, as a Linux sound server gives it. PipeWire is one such source.
#pragma once

#include <functional>

#include "platform/sample_buffer.h"
#include "support/media_time.h"

namespace quorvane::platform {

class AudioSource {
  public:
    // Called on the source's own thread, for each stretch of sound, in the order of time.
    using OnSamples = std::function<void(SampleBufferPtr)>;

    virtual ~AudioSource() = default;
    // Blocks until the sound server has taken the stream. Throws PlatformError when there is no
    // sound server. A device that is missing, then or later, is not an error: no samples come
    // until it is there.
    virtual void start(OnSamples onSamples) = 0;
    // Delivers what was captured up to the end time, as far as it arrives within 100 ms; then no
    // more. Blocks until that is done; must not be called from the source's own thread.
    virtual void stop(support::MediaTime end) noexcept = 0;
};

}  // namespace quorvane::platform
