#include "webcam/webcam_preview_window.h"

#include <exception>
#include <functional>
#include <utility>

#include "support/async.h"
#include "webcam/camera_resolution.h"

namespace quorvane::webcam {
namespace {

using platform::CollectionBehavior;

support::Rect boundsOf(const support::Rect& frame) {
    return {0, 0, frame.width, frame.height};
}

platform::BubbleWindowProperties propertiesFor(const support::Rect& frame) {
    platform::BubbleWindowProperties properties;
    properties.frame = frame;
    properties.style = platform::BubbleStyle::borderless;
    properties.backing = platform::BubbleBacking::buffered;
    properties.isDeferred = false;
    properties.isOpaque = false;
    properties.backgroundColor = platform::clearColor;
    properties.hasShadow = true;
    properties.level = 1001;  // one above screen savers: above full-screen windows and menus
    properties.isMovableByBackground = false;
    properties.collectionBehavior = CollectionBehavior::canJoinAllSpaces |
                                    CollectionBehavior::stationary |
                                    CollectionBehavior::fullScreenAuxiliary;
    properties.ignoresMouseEvents = true;

    auto& container = properties.container;
    container.frame = boundsOf(frame);
    container.masksToBounds = true;
    container.borderWidth = 2.0;
    container.borderColor = {1, 1, 1, 0.85};
    container.backgroundColor = platform::blackColor;  // seen until the camera delivers
    return properties;
}

// Finds the camera and opens it; whatever goes wrong leaves the camera that there is.
support::Async<> switchCamera(std::optional<std::string> deviceID, platform::Cameras& cameras,
                              support::Queue& queue,
                              std::function<void(std::shared_ptr<platform::CameraInput>)> use) {
    std::shared_ptr<platform::CameraInput> input;
    try {
        const auto device = co_await resolveCameraDevice(std::move(deviceID), cameras, queue);
        if (!device) co_return;
        input = cameras.makeInput(*device);
    } catch (const std::exception&) {
        co_return;
    }
    use(std::move(input));
}

}  // namespace

WebcamPreviewWindow::WebcamPreviewWindow(const support::Rect& frame, WebcamPreviewShape shape,
                                         platform::ApplicationLoop& application,
                                         platform::Cameras& cameras, support::Dispatch& dispatch)
    : cameras_(cameras), dispatch_(dispatch), properties_(propertiesFor(frame)), shape_(shape) {
    window_ = application.makeBubbleWindow(properties_);
}

std::shared_ptr<WebcamPreviewWindow> WebcamPreviewWindow::make(
    const support::Rect& frame, std::optional<std::string> deviceID, WebcamPreviewShape shape,
    platform::ApplicationLoop& application, platform::Cameras& cameras,
    support::Dispatch& dispatch) {
    std::shared_ptr<WebcamPreviewWindow> window(
        new WebcamPreviewWindow(frame, shape, application, cameras, dispatch));
    window->applyShape();
    window->session_ = cameras.makeSession(platform::CameraSessionPreset::medium);
    window->previewLayer_ = window->window_->previewLayer();
    window->session_->setPreviewLayer(window->previewLayer_);
    window->properties_.preview = platform::BubblePreview{boundsOf(window->container().frame),
                                                          platform::VideoGravity::resizeAspectFill};
    window->show();
    window->setDevice(std::move(deviceID));
    return window;
}

void WebcamPreviewWindow::applyShape() {
    container().cornerRadius =
        shape_.cornerRadius(container().frame.width, container().frame.height);
    show();
}

void WebcamPreviewWindow::setShape(WebcamPreviewShape shape) {
    shape_ = shape;
    applyShape();
}

void WebcamPreviewWindow::reposition(const support::Rect& rect) {
    properties_.frame = rect;
    container().frame = boundsOf(rect);
    if (previewLayer_) properties_.preview->frame = boundsOf(container().frame);
    applyShape();
}

void WebcamPreviewWindow::setDevice(std::optional<std::string> deviceID) {
    if (!session_) return;
    if (deviceID == currentDeviceID_ && !session_->inputs().empty()) return;
    currentDeviceID_ = deviceID;
    auto& mainQueue = dispatch_.mainQueue();
    auto useOnMainQueue = [weak = weak_from_this(),
                           &mainQueue](std::shared_ptr<platform::CameraInput> input) {
        mainQueue.post([weak, input = std::move(input)]() mutable {
            if (const auto self = weak.lock()) self->useInput(std::move(input));
        });
    };
    auto& globalQueue = dispatch_.globalQueue();
    support::startDetached(globalQueue, switchCamera(std::move(deviceID), cameras_, globalQueue,
                                                     std::move(useOnMainQueue)));
}

void WebcamPreviewWindow::useInput(std::shared_ptr<platform::CameraInput> input) {
    if (!session_) return;
    session_->beginConfiguration();
    for (const auto& existing : session_->inputs())
        session_->removeInput(existing);
    if (session_->canAddInput(*input)) session_->addInput(std::move(input));
    session_->commitConfiguration();
    if (!session_->isRunning()) session_->startRunning();
}

void WebcamPreviewWindow::orderFrontRegardless() {
    window_->orderFrontRegardless();
}

void WebcamPreviewWindow::stop() {
    if (session_) session_->stopRunning();
    window_->orderOut();
}

void WebcamPreviewWindow::show() {
    window_->apply(properties_);
}

}  // namespace quorvane::webcam
