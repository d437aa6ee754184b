// What the application's loop asks the bubble.
#pragma once

#include <memory>

#include "platform/application_loop.h"
#include "webcam/webcam_preview_window.h"

namespace quorvane::webcam {

class WebcamPreviewAppDelegate final : public platform::ApplicationDelegate {
  public:
    void applicationDidFinishLaunching() override {}
    // Taking the bubble off the screen ends nothing by itself.
    bool applicationShouldTerminateAfterLastWindowClosed() override { return false; }

    std::shared_ptr<WebcamPreviewWindow> window;  // kept alive by this alone
};

}  // namespace quorvane::webcam
