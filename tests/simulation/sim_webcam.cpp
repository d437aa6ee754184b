#include "simulation/sim_webcam.h"

#include <algorithm>

#include "platform/platform_error.h"

namespace quorvane::simulation {
namespace {

class SimLayer final : public platform::CameraPreviewLayer {
  public:
    void show(const support::VideoPicture&) override {}
    void clear() override {}
    Size drawnSize() const override { return {}; }
};

const std::string& cameraOf(const platform::CameraInput& input) {
    return static_cast<const SimCameraInput&>(input).camera;
}

}  // namespace

class SimCameras::Session final : public platform::CameraSession {
  public:
    explicit Session(SimCameras& owner) : owner_(owner) {}

    void beginConfiguration() override { owner_.calls.emplace_back("begin"); }
    void commitConfiguration() override { owner_.calls.emplace_back("commit"); }
    std::vector<std::shared_ptr<platform::CameraInput>> inputs() const override {
        return owner_.inputs_;
    }
    void removeInput(const std::shared_ptr<platform::CameraInput>& input) override {
        owner_.calls.push_back("remove " + cameraOf(*input));
        std::erase(owner_.inputs_, input);
    }
    bool canAddInput(const platform::CameraInput& input) const override {
        return owner_.inputs_.empty() && !owner_.unaddable.contains(cameraOf(input));
    }
    void addInput(std::shared_ptr<platform::CameraInput> input) override {
        owner_.calls.push_back("add " + cameraOf(*input));
        owner_.inputs_.push_back(std::move(input));
    }
    void setPreviewLayer(std::shared_ptr<platform::CameraPreviewLayer> given) override {
        owner_.layer = std::move(given);
    }
    bool isRunning() const override { return owner_.isRunning; }
    void startRunning() override {
        owner_.calls.emplace_back("start");
        owner_.isRunning = true;
    }
    void stopRunning() override {
        owner_.calls.emplace_back("stop");
        owner_.isRunning = false;
    }

  private:
    SimCameras& owner_;
};

void SimCameras::discover(std::span<const platform::CameraDeviceType> types,
                          Completion completion) {
    ++discoveries;
    askedTypes.assign(types.begin(), types.end());
    // What there is when it was asked, told when it was found out.
    dispatch_.schedule(
        dispatch_.globalQueue(), discoverAfter,
        [found = cameras, completion = std::move(completion)] { completion(found); });
}

std::shared_ptr<platform::CameraInput> SimCameras::makeInput(const platform::CameraDevice& device) {
    if (refused.contains(device.uniqueID)) throw platform::posixError(13, "No access");
    return std::make_shared<SimCameraInput>(device.uniqueID);
}

std::shared_ptr<platform::CameraSession> SimCameras::makeSession(
    platform::CameraSessionPreset asked) {
    preset = asked;
    return std::make_shared<Session>(*this);
}

std::string SimCameras::current() const {
    return inputs_.empty() ? std::string() : cameraOf(*inputs_.front());
}

class SimApplication::Window final : public platform::BubbleWindow {
  public:
    explicit Window(SimApplication& owner) : owner_(owner), isAlive_(owner.isWindowAlive) {
        *isAlive_ = true;
    }
    ~Window() override { *isAlive_ = false; }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    void apply(const platform::BubbleWindowProperties& properties) override {
        owner_.applied.push_back(properties);
    }
    std::shared_ptr<platform::CameraPreviewLayer> previewLayer() override { return layer_; }
    void orderFrontRegardless() override { owner_.isVisible = true; }
    void orderOut() override {
        owner_.isVisible = false;
        const auto delegate = owner_.delegate_.lock();
        owner_.terminatesWithoutWindow =
            delegate && delegate->applicationShouldTerminateAfterLastWindowClosed();
    }

  private:
    SimApplication& owner_;
    const std::shared_ptr<bool> isAlive_;
    std::shared_ptr<platform::CameraPreviewLayer> layer_ = std::make_shared<SimLayer>();
};

void SimApplication::setDelegate(std::weak_ptr<platform::ApplicationDelegate> delegate) {
    delegate_ = std::move(delegate);
}

std::shared_ptr<platform::BubbleWindow> SimApplication::makeBubbleWindow(
    const platform::BubbleWindowProperties& properties) {
    if (windowFailure) std::rethrow_exception(windowFailure);
    applied.push_back(properties);
    return std::make_shared<Window>(*this);
}

void SimApplication::run(Completion completion) {
    if (const auto delegate = delegate_.lock()) delegate->applicationDidFinishLaunching();
    launched = true;
    completion_ = std::move(completion);
}

void SimApplication::terminate() {
    ++terminations;
    if (completion_) std::exchange(completion_, nullptr)(nullptr);
}

void SimApplication::lose(std::exception_ptr error) {
    dispatch_.mainQueue().post([this, error] {
        if (completion_) std::exchange(completion_, nullptr)(error);
    });
}

}  // namespace quorvane::simulation
