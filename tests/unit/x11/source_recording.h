// A recording by the adapter's source, and what its tests ask of it.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "platform/capture_stream.h"
#include "platform/linux/screen_source.h"
#include "support/dispatch.h"
#include "unit/x11/frame.h"
#include "unit/x11/x_server.h"

namespace quorvane::platform::x11 {

class MonotonicClock final : public support::Clock {
  public:
    support::MediaTime hostTime() const override;
    support::WallTime wallTime() const override { return {}; }
};

extern const MonotonicClock monotonicClock;

std::uint32_t idOf(const std::string& displayName);
// Of Xvfb's only monitor.
Display wholeScreen(int width, int height);

// At 60 pictures a second, with the cursor.
StreamConfiguration regionOf(const support::Rect& rect, int width, int height);

// The log lives longer than the source that reports to it.
struct Recording {
    Recording(const XServer& server, const Display& display,
              const StreamConfiguration& configuration);
    Recording(const XServer& server, CapturedContent content,
              const StreamConfiguration& configuration);
    ~Recording() { source->stop(); }

    void start() { source->start(log.events()); }

    FrameLog log;
    std::unique_ptr<ScreenSource> source;
};

::testing::AssertionResult isColour(const Rgb& seen, int red, int green, int blue);
inline ::testing::AssertionResult isColour(const Rgb& seen, std::uint32_t colour) {
    return isColour(seen, static_cast<int>(colour >> 16 & 0xFF),
                    static_cast<int>(colour >> 8 & 0xFF), static_cast<int>(colour & 0xFF));
}
// Waits (for some seconds) until it holds. Returns what it said last.
::testing::AssertionResult comesToHold(const std::function<::testing::AssertionResult()>& holds);
// Waits (as long) until the newest picture has that colour there.
::testing::AssertionResult comesToShow(const FrameLog& log, int x, int y, std::uint32_t colour);

std::string descriptionOf(std::exception_ptr error);

}  // namespace quorvane::platform::x11
