// Asks a camera's node for the forms of its pictures.
// Threads: the connection's. Errors: none; a camera that does not answer offers nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/linux/pipewire/camera_format.h"

struct pw_registry;

namespace quorvane::platform::pipewire {

class Connection;

class CameraFormats {
  public:
    // Known when a sync() that follows is answered.
    CameraFormats(Connection& connection, pw_registry* registry, std::uint32_t nodeID);
    ~CameraFormats();
    CameraFormats(const CameraFormats&) = delete;
    CameraFormats& operator=(const CameraFormats&) = delete;

    std::optional<CameraFormat> best(CameraPreviewLayer::Size wanted) const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::pipewire
