// The port to the cameras: what there is, and the session that shows one of them in a layer.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "support/video_picture.h"

namespace quorvane::platform {

enum class CameraDeviceType { builtInWideAngleCamera, external, continuityCamera, deskViewCamera };

struct CameraDevice {
    std::string uniqueID;  // the same whenever the camera is connected
    std::string localizedName;
    std::string modelID;  // empty when nobody knows
    bool operator==(const CameraDevice&) const = default;
};

struct CameraDevices {
    std::vector<CameraDevice> devices;          // in the platform's order
    std::optional<CameraDevice> defaultDevice;  // the user's or the system's choice
};

// One camera, opened or to be opened by the session that it is added to.
class CameraInput {
  public:
    virtual ~CameraInput() = default;
};

// Where a session's pictures go. Threads: the session's own, one call at a time. Nothing blocks.
class CameraPreviewLayer {
  public:
    virtual ~CameraPreviewLayer() = default;
    // The newest picture replaces one that has not been drawn yet. Borrowed for the call.
    virtual void show(const support::VideoPicture& picture) = 0;
    // There is no picture any more.
    virtual void clear() = 0;
    // The size in pixels that pictures are drawn at, for the choice among a camera's formats.
    struct Size {
        int width = 0;
        int height = 0;
        bool operator==(const Size&) const = default;
    };
    virtual Size drawnSize() const = 0;
};

// Of the sizes that a camera offers, which one is meant: medium is about 480 by 360, or what the
// layer is drawn at where that is more.
enum class CameraSessionPreset { medium };

// Threads: the main queue. Nothing blocks. Errors: none; a camera that goes away is waited for.
class CameraSession {
  public:
    virtual ~CameraSession() = default;
    // Changes between the two take effect together.
    virtual void beginConfiguration() = 0;
    virtual void commitConfiguration() = 0;
    virtual std::vector<std::shared_ptr<CameraInput>> inputs() const = 0;
    virtual void removeInput(const std::shared_ptr<CameraInput>& input) = 0;
    virtual bool canAddInput(const CameraInput& input) const = 0;
    virtual void addInput(std::shared_ptr<CameraInput> input) = 0;
    virtual void setPreviewLayer(std::shared_ptr<CameraPreviewLayer> layer) = 0;
    virtual bool isRunning() const = 0;
    virtual void startRunning() = 0;
    virtual void stopRunning() = 0;
};

class Cameras {
  public:
    using Completion = std::function<void(CameraDevices)>;

    virtual ~Cameras() = default;
    // Lists the cameras of these types. The completion is called exactly once, on any thread, with
    // nothing when there is no camera service or none that answers within a second.
    virtual void discover(std::span<const CameraDeviceType> types, Completion completion) = 0;
    // Throws PlatformError when the camera may not or cannot be used. Any thread.
    virtual std::shared_ptr<CameraInput> makeInput(const CameraDevice& device) = 0;
    virtual std::shared_ptr<CameraSession> makeSession(CameraSessionPreset preset) = 0;
};

}  // namespace quorvane::platform
