// Everything that the server says of the windows that may be of interest, read in a few round trips
// however many there are.
// Threads: the connection's. Errors: PlatformError when the connection is lost; a window that
// vanishes meanwhile is left out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/application_directory.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/visible_frame.h"
#include "platform/linux/x11/window_layer.h"

namespace quorvane::platform::x11 {

struct SurveyedWindow {
    std::uint32_t window = 0;  // the client's, not the frame's around it
    bool isManaged = false;    // the window manager has it, seen or not
    bool isViewable = false;
    bool overridesRedirect = false;
    bool isHidden = false;                 // minimised, or shaded so that only its title is seen
    std::optional<std::uint32_t> desktop;  // everywhere is 0xFFFFFFFF
    WindowPlacement placement;
    std::optional<std::string> title;
    std::vector<WindowType> types;
    WindowIdentity identity;
    std::int32_t processID = 0;  // 0 when the server does not know of one on its machine
};

struct WindowSurvey {
    std::vector<SurveyedWindow> windows;  // topmost first
    std::uint32_t activeWindow = 0;
    std::optional<std::uint32_t> currentDesktop;
};

WindowSurvey surveyWindows(const Connection& connection);

}  // namespace quorvane::platform::x11
