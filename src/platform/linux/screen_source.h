// One capture's pictures, as a Linux display server gives them. X11 is one such source.
#pragma once

#include <exception>
#include <functional>

#include "platform/sample_buffer.h"

namespace quorvane::platform {

class ScreenSource {
  public:
    struct Events {
        // Called on the source's own thread, for each new picture.
        std::function<void(SampleBufferPtr)> onPicture;
        // The source ended by itself (the display is gone or has changed). At most once, on the
        // source's own thread; no picture follows.
        std::function<void(std::exception_ptr)> onEnded;
    };

    virtual ~ScreenSource() = default;
    // Captures the first picture at once and goes on until stop(). Blocks until the server has
    // confirmed. Throws PlatformError.
    virtual void start(Events events) = 0;
    // No event follows. Blocks until the source's thread has ended; must not be called from it.
    virtual void stop() noexcept = 0;
};

}  // namespace quorvane::platform
