// Which camera a selector means.
#pragma once

#include <optional>
#include <string>

#include "platform/camera_session.h"
#include "support/async.h"

namespace quorvane::webcam {

// The first camera whose uniqueID equals the selector, else the first by localizedName, else by
// modelID. Without a selector, with "default" or the empty one, and when no camera matches: the
// default camera, else the first one, else nothing. Threads: pure, any. Errors: none.
std::optional<platform::CameraDevice> chooseCameraDevice(const std::optional<std::string>& selector,
                                                         const platform::CameraDevices& cameras);

// The same among the cameras that there are now. Resumes on the queue.
support::Async<std::optional<platform::CameraDevice>> resolveCameraDevice(
    std::optional<std::string> selector, platform::Cameras& cameras, support::Queue& queue);

}  // namespace quorvane::webcam
