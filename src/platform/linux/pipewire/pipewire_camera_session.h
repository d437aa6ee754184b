// A camera session on a thread of its own, which connects to PipeWire as often as it takes.
// Threads: the main queue. Errors: none; without a server or the camera there is no picture.
#pragma once

#include <memory>
#include <string>

#include "platform/camera_session.h"
#include "support/dispatch.h"

namespace quorvane::platform::pipewire {

// A camera by the name of its node, which stays the same when it comes back.
class PipeWireCameraInput final : public CameraInput {
  public:
    explicit PipeWireCameraInput(std::string nodeName) : nodeName_(std::move(nodeName)) {}
    const std::string& nodeName() const { return nodeName_; }

  private:
    std::string nodeName_;
};

class PipeWireCameraSession final : public CameraSession {
  public:
    // The clock outlives the session.
    PipeWireCameraSession(CameraSessionPreset preset, const support::Clock& clock);
    // Waits for the thread.
    ~PipeWireCameraSession() override;
    PipeWireCameraSession(const PipeWireCameraSession&) = delete;
    PipeWireCameraSession& operator=(const PipeWireCameraSession&) = delete;

    void beginConfiguration() override;
    void commitConfiguration() override;
    std::vector<std::shared_ptr<CameraInput>> inputs() const override;
    void removeInput(const std::shared_ptr<CameraInput>& input) override;
    // One camera a session.
    bool canAddInput(const CameraInput& input) const override;
    void addInput(std::shared_ptr<CameraInput> input) override;
    // Before the session runs for the first time.
    void setPreviewLayer(std::shared_ptr<CameraPreviewLayer> layer) override;
    bool isRunning() const override;
    void startRunning() override;
    void stopRunning() override;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::pipewire
