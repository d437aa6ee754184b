// Simulated cameras and a simulated windowed application; both keep an account of what was done.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/application_loop.h"
#include "platform/camera_session.h"
#include "simulation/sim_dispatch.h"

namespace quorvane::simulation {

class SimCameraInput final : public platform::CameraInput {
  public:
    explicit SimCameraInput(std::string name) : camera(std::move(name)) {}
    const std::string camera;
};

// What the bubble's session was told, in order: "begin", "remove a", "add b", "commit", "start",
// "stop".
class SimCameras final : public platform::Cameras {
  public:
    explicit SimCameras(SimDispatch& dispatch) : dispatch_(dispatch) {}

    void discover(std::span<const platform::CameraDeviceType> types,
                  Completion completion) override;
    std::shared_ptr<platform::CameraInput> makeInput(const platform::CameraDevice& device) override;
    std::shared_ptr<platform::CameraSession> makeSession(
        platform::CameraSessionPreset preset) override;

    platform::CameraDevices cameras;
    std::chrono::nanoseconds discoverAfter{0};
    std::vector<platform::CameraDeviceType> askedTypes;
    std::set<std::string> refused;    // cameras that cannot be opened
    std::set<std::string> unaddable;  // cameras that the session does not take
    std::optional<platform::CameraSessionPreset> preset;
    std::vector<std::string> calls;
    int discoveries = 0;
    bool isRunning = false;
    std::shared_ptr<platform::CameraPreviewLayer> layer;
    // The camera that is in use; empty without one.
    std::string current() const;

  private:
    class Session;
    SimDispatch& dispatch_;
    std::vector<std::shared_ptr<platform::CameraInput>> inputs_;
};

class SimApplication final : public platform::ApplicationLoop {
  public:
    explicit SimApplication(SimDispatch& dispatch) : dispatch_(dispatch) {}

    void setDelegate(std::weak_ptr<platform::ApplicationDelegate> delegate) override;
    void setActivationPolicy(platform::ActivationPolicy wanted) override { policy = wanted; }
    std::shared_ptr<platform::BubbleWindow> makeBubbleWindow(
        const platform::BubbleWindowProperties& properties) override;
    void run(Completion completion) override;
    void terminate() override;
    // The window system goes away.
    void lose(std::exception_ptr error);

    std::exception_ptr windowFailure;  // of makeBubbleWindow()
    std::optional<platform::ActivationPolicy> policy;
    std::vector<platform::BubbleWindowProperties> applied;  // the first is the creation's
    bool isVisible = false;
    // The window may outlive everything here, in a task that is never run.
    std::shared_ptr<bool> isWindowAlive = std::make_shared<bool>(false);
    int terminations = 0;
    bool launched = false;
    bool terminatesWithoutWindow = false;  // what the delegate said

  private:
    class Window;
    SimDispatch& dispatch_;
    std::weak_ptr<platform::ApplicationDelegate> delegate_;
    Completion completion_;
};

}  // namespace quorvane::simulation
