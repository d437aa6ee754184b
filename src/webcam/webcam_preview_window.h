// The bubble: one window, one camera session and one layer, for as long as the process lives.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/application_loop.h"
#include "platform/camera_session.h"
#include "support/dispatch.h"
#include "webcam/webcam_preview_shape.h"

namespace quorvane::webcam {

// Threads: the main queue. The tasks that look for a camera run elsewhere; they hold the window
// weakly and bring their result back to the main queue, where the last one to arrive wins.
// Errors: none but the constructor's; without a camera the bubble is black.
class WebcamPreviewWindow : public std::enable_shared_from_this<WebcamPreviewWindow> {
  public:
    // The frame has its origin at the lower left of the main screen. Selects the device (nothing:
    // the default camera). Throws PlatformError when there is no window system.
    static std::shared_ptr<WebcamPreviewWindow> make(const support::Rect& frame,
                                                     std::optional<std::string> deviceID,
                                                     WebcamPreviewShape shape,
                                                     platform::ApplicationLoop& application,
                                                     platform::Cameras& cameras,
                                                     support::Dispatch& dispatch);

    // Sets the container's corner radius from the shape and the container's size.
    void applyShape();
    void setShape(WebcamPreviewShape shape);
    // Switches the camera, later; without effect when that selector's camera is in use already.
    void setDevice(std::optional<std::string> deviceID);
    void reposition(const support::Rect& rect);
    void orderFrontRegardless();
    // Ends the session and takes the window off the screen.
    void stop();

    const std::optional<std::string>& currentDeviceID() const { return currentDeviceID_; }
    WebcamPreviewShape shape() const { return shape_; }
    const platform::BubbleWindowProperties& properties() const { return properties_; }

  private:
    WebcamPreviewWindow(const support::Rect& frame, WebcamPreviewShape shape,
                        platform::ApplicationLoop& application, platform::Cameras& cameras,
                        support::Dispatch& dispatch);

    void useInput(std::shared_ptr<platform::CameraInput> input);
    void show();
    // The content view and its layer.
    platform::BubbleContainer& container() { return properties_.container; }

    // Fixed once made.
    platform::Cameras& cameras_;
    support::Dispatch& dispatch_;
    std::shared_ptr<platform::BubbleWindow> window_;
    std::shared_ptr<platform::CameraSession> session_;
    std::shared_ptr<platform::CameraPreviewLayer> previewLayer_;

    platform::BubbleWindowProperties properties_;
    std::optional<std::string> currentDeviceID_;  // the selection last applied
    WebcamPreviewShape shape_;
};

}  // namespace quorvane::webcam
