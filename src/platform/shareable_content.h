// The port to what can be recorded: displays, windows and the applications that own them.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/geometry.h"

namespace quorvane::platform {

struct Display {
    std::uint32_t displayID = 0;
    int width = 0;        // pixels
    int height = 0;       // pixels
    support::Rect frame;  // points, global
};

struct RunningApplication {
    std::int32_t processID = 0;
    std::string applicationName;
    std::string bundleIdentifier;
};

struct Window {
    std::uint32_t windowID = 0;
    std::optional<std::string> title;
    int windowLayer = 0;
    bool isOnScreen = false;
    bool isActive = false;
    support::Rect frame;  // points, global
    std::optional<RunningApplication> owningApplication;
};

// Each list in the platform's order.
struct ShareableContent {
    std::vector<Display> displays;
    std::vector<Window> windows;
    std::vector<RunningApplication> applications;
};

class ShareableContentSource {
  public:
    // Called exactly once, on any thread: with the content, or with an error and no content.
    using Completion = std::function<void(std::exception_ptr error, ShareableContent content)>;

    virtual ~ShareableContentSource() = default;
    virtual std::uint32_t mainDisplayID() = 0;  // 0 when there is no display
    virtual void getShareableContent(bool excludingDesktopWindows, bool onScreenWindowsOnly,
                                     Completion completion) = 0;
};

}  // namespace quorvane::platform
