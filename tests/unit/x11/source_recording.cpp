#include "unit/x11/source_recording.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>
#include <utility>
#include <vector>

#include <time.h>

#include "platform/linux/x11/display_ids.h"
#include "platform/linux/x11/x11_screen_source.h"
#include "platform/platform_error.h"

namespace quorvane::platform::x11 {

using namespace std::chrono_literals;

const MonotonicClock monotonicClock;

support::MediaTime MonotonicClock::hostTime() const {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return support::MediaTime(std::chrono::seconds(now.tv_sec) +
                              std::chrono::nanoseconds(now.tv_nsec));
}

std::uint32_t idOf(const std::string& displayName) {
    return displayIDsOf(std::vector<std::string>{displayName})[0];
}

Display wholeScreen(int width, int height) {
    return {idOf("screen"),
            width,
            height,
            {0, 0, static_cast<double>(width), static_cast<double>(height)}};
}

StreamConfiguration regionOf(const support::Rect& rect, int width, int height) {
    StreamConfiguration configuration;
    configuration.sourceRect = rect;
    configuration.width = width;
    configuration.height = height;
    configuration.minimumFrameInterval = 16'666'667ns;
    configuration.queueDepth = 6;
    configuration.showsCursor = true;
    return configuration;
}

Recording::Recording(const XServer& server, const Display& display,
                     const StreamConfiguration& configuration)
    : Recording(server, DisplayContent{display, {}}, configuration) {}

Recording::Recording(const XServer& server, CapturedContent content,
                     const StreamConfiguration& configuration)
    : source(makeX11ScreenSource({std::move(content), {}, 1}, configuration, monotonicClock,
                                 server.displayName())) {}

::testing::AssertionResult isColour(const Rgb& seen, int red, int green, int blue) {
    const double worst = std::max(
        {std::abs(seen.red - red), std::abs(seen.green - green), std::abs(seen.blue - blue)});
    if (worst <= 3) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "seen " << seen.red << ", " << seen.green << ", " << seen.blue << " instead of "
           << red << ", " << green << ", " << blue;
}

::testing::AssertionResult comesToHold(const std::function<::testing::AssertionResult()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    for (;;) {
        const auto result = holds();
        if (result || std::chrono::steady_clock::now() > deadline) return result;
        std::this_thread::sleep_for(10ms);
    }
}

::testing::AssertionResult comesToShow(const FrameLog& log, int x, int y, std::uint32_t colour) {
    return comesToHold([&] {
        return log.count() == 0 ? ::testing::AssertionFailure() << "no picture"
                                : isColour(log.last().at(x, y), colour);
    });
}

std::string descriptionOf(std::exception_ptr error) {
    if (!error) return "";
    try {
        std::rethrow_exception(error);
    } catch (const PlatformError& failure) {
        EXPECT_EQ(failure.domain(), "X11");
        return failure.description();
    }
}

}  // namespace quorvane::platform::x11
