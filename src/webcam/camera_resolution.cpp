#include "webcam/camera_resolution.h"

#include <algorithm>
#include <array>
#include <utility>

namespace quorvane::webcam {

using platform::CameraDevice;
using platform::CameraDevices;
using platform::CameraDeviceType;

namespace {

constexpr std::array types{CameraDeviceType::builtInWideAngleCamera, CameraDeviceType::external,
                           CameraDeviceType::continuityCamera, CameraDeviceType::deskViewCamera};

}  // namespace

std::optional<CameraDevice> chooseCameraDevice(const std::optional<std::string>& selector,
                                               const CameraDevices& cameras) {
    const auto& devices = cameras.devices;
    if (selector && !selector->empty() && *selector != "default") {
        for (const auto member :
             {&CameraDevice::uniqueID, &CameraDevice::localizedName, &CameraDevice::modelID}) {
            const auto found = std::find_if(
                devices.begin(), devices.end(),
                [&](const CameraDevice& device) { return device.*member == *selector; });
            if (found != devices.end()) return *found;
        }
    }
    if (cameras.defaultDevice) return cameras.defaultDevice;
    if (!devices.empty()) return devices.front();
    return std::nullopt;
}

support::Async<std::optional<CameraDevice>> resolveCameraDevice(std::optional<std::string> selector,
                                                                platform::Cameras& cameras,
                                                                support::Queue& queue) {
    const auto found =
        co_await support::suspend<CameraDevices>(queue, [&cameras](auto continuation) {
            // std::function wants to copy what it holds.
            auto waiter = std::make_shared<decltype(continuation)>(std::move(continuation));
            cameras.discover(
                types, [waiter](CameraDevices devices) { waiter->resume(std::move(devices)); });
        });
    co_return chooseCameraDevice(selector, found);
}

}  // namespace quorvane::webcam
