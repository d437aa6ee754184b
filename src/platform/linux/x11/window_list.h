// The windows and the applications of a survey, as the rules know them.
// Threads: pure, any. Errors: none.
#pragma once

#include "platform/linux/application_directory.h"
#include "platform/linux/x11/window_survey.h"
#include "platform/shareable_content.h"

namespace quorvane::platform::x11 {

struct WindowSelection {
    bool excludingDesktopWindows = false;
    // Leaves out what is neither on the screen nor the window manager's. A minimised window stays:
    // it may come back while it is being recorded, or kept out of a recording.
    bool onScreenWindowsOnly = false;
};

// The content's windows and applications; its displays stay empty. One process is one application,
// in the order of the first appearance of its windows.
ShareableContent windowsAndApplications(const WindowSurvey& survey,
                                        const WindowSelection& selection,
                                        ApplicationDirectory& directory);

}  // namespace quorvane::platform::x11
