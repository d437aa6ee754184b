// The cameras that PipeWire knows: nodes of the class Video/Source, but for those that show a
// screen.
// Threads: any one at a time a call; blocks for at most a second. Errors: none; without a server
// that answers in time there are no cameras.
#pragma once

#include <functional>
#include <string>

#include "platform/camera_session.h"

namespace quorvane::platform::pipewire {

// In the order of their numbers. The default is the session manager's or the user's, else the one
// of the highest priority.
CameraDevices listCameras();

// What a camera's model is known by: "vendor:product", both as four hexadecimal digits, where its
// device has them; else the product's name. The lookup gives a property's value or nothing.
std::string modelIDFrom(const std::function<std::string(const std::string& key)>& property);

}  // namespace quorvane::platform::pipewire
