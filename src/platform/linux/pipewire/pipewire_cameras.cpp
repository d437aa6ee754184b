#include "platform/linux/pipewire/pipewire_cameras.h"

#include <system_error>
#include <utility>

#include "platform/linux/pipewire/camera_list.h"
#include "platform/linux/pipewire/pipewire_camera_session.h"
#include "support/background_thread.h"

namespace quorvane::platform::pipewire {

void PipeWireCameras::discover(std::span<const CameraDeviceType> /*types*/, Completion completion) {
    try {
        support::startBackgroundThread("cameras", [completion] {
            completion(listCameras());
        }).detach();
    } catch (const std::system_error&) {
        completion({});
    }
}

std::shared_ptr<CameraInput> PipeWireCameras::makeInput(const CameraDevice& device) {
    return std::make_shared<PipeWireCameraInput>(device.uniqueID);
}

std::shared_ptr<CameraSession> PipeWireCameras::makeSession(CameraSessionPreset preset) {
    return std::make_shared<PipeWireCameraSession>(preset, clock_);
}

}  // namespace quorvane::platform::pipewire
