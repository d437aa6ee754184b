// Passes a camera's pictures on to the layer, and decides how long the last one stays: two seconds
// after the camera has gone the layer is cleared.
// Why it stays: a camera that is plugged in anew, or a sound server that restarts, makes a pause
// that is not worth a black bubble.
// Threads: the session's. Errors: none.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "platform/camera_session.h"
#include "support/dispatch.h"

namespace quorvane::platform::pipewire {

class LastPicture {
  public:
    // The clock outlives it. The layer may be null.
    LastPicture(const support::Clock& clock, std::shared_ptr<CameraPreviewLayer> layer)
        : clock_(clock), layer_(std::move(layer)) {}

    void show(const support::VideoPicture& picture);
    // The camera has gone, or is being changed for another one. Again has no effect.
    void cameraLeft();
    // Clears the layer when the time has come; else how long that is from now. Nothing when there
    // is nothing to be cleared.
    std::optional<std::chrono::nanoseconds> expire();
    CameraPreviewLayer::Size drawnSize() const;

  private:
    const support::Clock& clock_;
    std::shared_ptr<CameraPreviewLayer> layer_;
    bool isShowing_ = false;
    std::optional<support::MediaTime> leftAt_;
};

}  // namespace quorvane::platform::pipewire
