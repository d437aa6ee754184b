// A camera's pictures over one connection: waits for the camera, shows it, notices when it goes and
// when it comes back, and changes to another one when that is wanted.
// What is let through: pictures only from the camera that is meant. The session manager links the
// streams, but what it linked is checked here.
// Threads: the one that made it, except wake().
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/camera_session.h"

namespace quorvane::platform::pipewire {

class LastPicture;

struct WantedCamera {
    std::optional<std::string> name;  // of the node; nothing for no camera
    bool isOver = false;              // the session has ended
};

class CameraCapture {
  public:
    // wanted is asked at the beginning and after every wake(). Throws PlatformError when there is
    // no server.
    CameraCapture(CameraSessionPreset preset, LastPicture& lastPicture,
                  std::function<WantedCamera()> wanted);
    ~CameraCapture();
    CameraCapture(const CameraCapture&) = delete;
    CameraCapture& operator=(const CameraCapture&) = delete;

    // Returns when the server is gone or the session is over.
    void run();
    // What is wanted has changed. Any thread.
    void wake() noexcept;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::pipewire
