// The pictures of a display, a window or an application from an X server.
// Threads: start() and stop() from any thread but the source's own. Errors: PlatformError of the
// domain "X11" (or "POSIX").
#pragma once

#include <memory>
#include <string>

#include "platform/capture_stream.h"
#include "platform/linux/screen_source.h"
#include "support/dispatch.h"

namespace quorvane::platform::x11 {

// The clock outlives the source. An empty name means the environment's display.
std::unique_ptr<ScreenSource> makeX11ScreenSource(const ContentFilter& filter,
                                                  const StreamConfiguration& configuration,
                                                  const support::Clock& clock,
                                                  const std::string& displayName = {});

}  // namespace quorvane::platform::x11
