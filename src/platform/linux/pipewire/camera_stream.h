// One stream of PipeWire from a camera.
// Threads: the connection's. Errors: the constructor throws PlatformError; a stream that fails
// later says so by hasFailed().
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/linux/pipewire/camera_format.h"
#include "support/video_picture.h"

namespace quorvane::platform::pipewire {

class Connection;

class CameraStream {
  public:
    struct Events {
        // The newest picture, borrowed for the call.
        std::function<void(const support::VideoPicture&)> onPicture;
        // The stream is known to the server, or it failed.
        std::function<void()> onChange;
    };

    // From the node of that name and no other. In the preferred form where the camera still offers
    // it, else in any that can be drawn.
    CameraStream(Connection& connection, const std::string& camera,
                 const std::optional<CameraFormat>& preferred, Events events);
    ~CameraStream();
    CameraStream(const CameraStream&) = delete;
    CameraStream& operator=(const CameraStream&) = delete;

    // Nothing until the server knows the stream.
    std::optional<std::uint32_t> nodeID() const;
    bool hasFailed() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::pipewire
