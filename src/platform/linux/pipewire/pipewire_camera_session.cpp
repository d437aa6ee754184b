#include "platform/linux/pipewire/pipewire_camera_session.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/linux/pipewire/camera_capture.h"
#include "platform/linux/pipewire/last_picture.h"
#include "support/background_thread.h"
#include "support/mutex.h"

namespace quorvane::platform::pipewire {
namespace {

constexpr std::chrono::nanoseconds reconnectDelay = std::chrono::milliseconds(500);

}  // namespace

struct PipeWireCameraSession::State {
    State(CameraSessionPreset asked, const support::Clock& given) : preset(asked), clock(given) {}

    // The session's thread.
    void work() noexcept {
        LastPicture lastPicture(clock, layer);
        for (;;) {
            try {
                CameraCapture capture(preset, lastPicture, [this] { return currentlyWanted(); });
                if (enter(&capture)) capture.run();
                enter(nullptr);
            } catch (const std::exception&) {
                enter(nullptr);  // tried again
            }
            const auto left = lastPicture.expire();
            support::MutexLock lock(mutex);
            changed.wait_for(mutex, std::min(reconnectDelay, left.value_or(reconnectDelay)),
                             [this]() QUORVANE_REQUIRES(mutex) { return wanted.isOver; });
            if (wanted.isOver) return;
        }
    }

    WantedCamera currentlyWanted() {
        support::MutexLock lock(mutex);
        return wanted;
    }

    // Says which capture is to be woken. Returns whether there is any use for it.
    bool enter(CameraCapture* capture) {
        support::MutexLock lock(mutex);
        running = capture;
        if (capture != nullptr) capture->wake();  // what was wanted may have changed meanwhile
        return !wanted.isOver;
    }

    void want(WantedCamera camera) {
        support::MutexLock lock(mutex);
        wanted = std::move(camera);
        // Under the lock, or the capture could end meanwhile. It only leaves a note.
        if (running != nullptr) running->wake();
        changed.notify_all();
    }

    void wantInput() {
        WantedCamera camera;
        if (isRunning && !inputs.empty()) {
            camera.name = static_cast<const PipeWireCameraInput&>(*inputs.front()).nodeName();
        }
        want(std::move(camera));
    }

    const CameraSessionPreset preset;
    const support::Clock& clock;

    // The main queue's.
    std::vector<std::shared_ptr<CameraInput>> inputs;
    int openConfigurations = 0;
    bool isRunning = false;
    std::shared_ptr<CameraPreviewLayer> layer;  // constant once the thread runs
    std::thread thread;

    support::Mutex mutex;
    support::Condition changed;
    WantedCamera wanted QUORVANE_GUARDED_BY(mutex);
    CameraCapture* running QUORVANE_GUARDED_BY(mutex) = nullptr;
};

PipeWireCameraSession::PipeWireCameraSession(CameraSessionPreset preset,
                                             const support::Clock& clock)
    : state_(std::make_unique<State>(preset, clock)) {}

PipeWireCameraSession::~PipeWireCameraSession() {
    if (!state_->thread.joinable()) return;
    state_->want({.name = std::nullopt, .isOver = true});
    state_->thread.join();
}

void PipeWireCameraSession::beginConfiguration() {
    ++state_->openConfigurations;
}

void PipeWireCameraSession::commitConfiguration() {
    if (--state_->openConfigurations == 0 && state_->isRunning) state_->wantInput();
}

std::vector<std::shared_ptr<CameraInput>> PipeWireCameraSession::inputs() const {
    return state_->inputs;
}

void PipeWireCameraSession::removeInput(const std::shared_ptr<CameraInput>& input) {
    std::erase(state_->inputs, input);
}

bool PipeWireCameraSession::canAddInput(const CameraInput& input) const {
    return state_->inputs.empty() && dynamic_cast<const PipeWireCameraInput*>(&input) != nullptr;
}

void PipeWireCameraSession::addInput(std::shared_ptr<CameraInput> input) {
    state_->inputs.push_back(std::move(input));
}

void PipeWireCameraSession::setPreviewLayer(std::shared_ptr<CameraPreviewLayer> layer) {
    state_->layer = std::move(layer);
}

bool PipeWireCameraSession::isRunning() const {
    return state_->isRunning;
}

void PipeWireCameraSession::startRunning() {
    State& state = *state_;
    state.isRunning = true;
    state.wantInput();
    if (state.thread.joinable()) return;
    try {
        state.thread = support::startBackgroundThread("camera", [&state] { state.work(); });
    } catch (const std::system_error&) {
        state.isRunning = false;  // the next switch tries again
    }
}

void PipeWireCameraSession::stopRunning() {
    state_->isRunning = false;
    state_->wantInput();
}

}  // namespace quorvane::platform::pipewire
