// Cameras as PipeWire knows them: uniqueID is the node's name, localizedName its description,
// modelID what its device says of its model. All are of one type; the types asked for are not told
// apart.
// Threads: any. Errors: none.
#pragma once

#include "platform/camera_session.h"
#include "support/dispatch.h"

namespace quorvane::platform::pipewire {

class PipeWireCameras final : public Cameras {
  public:
    // Connects to nothing yet. The clock outlives it and its sessions.
    explicit PipeWireCameras(const support::Clock& clock) : clock_(clock) {}

    void discover(std::span<const CameraDeviceType> types, Completion completion) override;
    std::shared_ptr<CameraInput> makeInput(const CameraDevice& device) override;
    std::shared_ptr<CameraSession> makeSession(CameraSessionPreset preset) override;

  private:
    const support::Clock& clock_;
};

}  // namespace quorvane::platform::pipewire
