#include "platform/linux/pipewire/pipewire_audio_source.h"

#include <cassert>
#include <cerrno>
#include <chrono>
#include <exception>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/linux/pipewire/capture_session.h"
#include "platform/linux/pipewire/pipewire_error.h"
#include "platform/linux/pipewire/sound_delivery.h"
#include "support/background_thread.h"
#include "support/mutex.h"

namespace quorvane::platform::pipewire {
namespace {

constexpr auto startPatience = std::chrono::seconds(5);
constexpr auto reconnectDelay = std::chrono::milliseconds(500);

}  // namespace

struct PipeWireAudioSource::State {
    explicit State(SoundTarget wanted) : target(std::move(wanted)) {}

    // The source's thread.
    void work() noexcept {
        while (!isStopped()) {
            try {
                CaptureSession session(target, *delivery, [this] { becomeReady(); });
                if (enter(&session)) session.run();
                enter(nullptr);
                failToStart(std::make_exception_ptr(
                    pipeWireError(EPIPE, "The sound server PipeWire ended the connection.")));
            } catch (...) {
                enter(nullptr);
                failToStart(std::current_exception());
            }
            support::MutexLock lock(mutex);
            changed.wait_for(mutex, reconnectDelay,
                             [this]() QUORVANE_REQUIRES(mutex) { return stopAt.has_value(); });
        }
    }

    bool isStopped() {
        support::MutexLock lock(mutex);
        return stopAt.has_value();
    }

    // Says which session stop() has to finish. Returns whether there is any use for it.
    bool enter(CaptureSession* session) {
        support::MutexLock lock(mutex);
        running = session;
        return !stopAt;
    }

    void becomeReady() {
        support::MutexLock lock(mutex);
        ready = true;
        changed.notify_all();
    }

    // Without effect once the start was a success: whatever fails later is tried again.
    void failToStart(std::exception_ptr error) {
        support::MutexLock lock(mutex);
        if (ready || stopAt) return;
        failure = std::move(error);
        stopAt = support::MediaTime();
        changed.notify_all();
    }

    // Null when the server took the stream.
    std::exception_ptr awaitStart() {
        support::MutexLock lock(mutex);
        changed.wait_for(mutex, startPatience,
                         [this]() QUORVANE_REQUIRES(mutex) { return ready || failure != nullptr; });
        if (!ready && failure == nullptr) {
            failure = std::make_exception_ptr(
                pipeWireError(ETIMEDOUT, "The sound server PipeWire did not answer."));
        }
        return failure;
    }

    void requestStop(support::MediaTime end) {
        support::MutexLock lock(mutex);
        if (stopAt) return;
        stopAt = end;
        // Under the lock, or the session could end meanwhile. It only leaves a note and wakes.
        if (running != nullptr) running->finish(end);
        changed.notify_all();
    }

    const SoundTarget target;
    std::optional<SoundDelivery> delivery;  // made by start(), then the source's thread's
    std::thread thread;                     // of start() and stop()

    support::Mutex mutex;
    support::Condition changed;
    CaptureSession* running QUORVANE_GUARDED_BY(mutex) = nullptr;
    bool ready QUORVANE_GUARDED_BY(mutex) = false;
    std::exception_ptr failure QUORVANE_GUARDED_BY(mutex);
    std::optional<support::MediaTime> stopAt QUORVANE_GUARDED_BY(mutex);
};

PipeWireAudioSource::PipeWireAudioSource(SoundTarget target)
    : state_(std::make_unique<State>(std::move(target))) {}

PipeWireAudioSource::~PipeWireAudioSource() {
    stop(support::MediaTime());
}

void PipeWireAudioSource::start(OnSamples onSamples) {
    State& state = *state_;
    assert(!state.delivery && "a source is started once");
    state.delivery.emplace(std::move(onSamples));
    try {
        state.thread = support::startBackgroundThread(
            state.target.kind == SoundTarget::Kind::systemAudio ? "system-audio" : "microphone",
            [&state] { state.work(); });
    } catch (const std::system_error& error) {
        throw posixError(error.code().value(), "Could not start a thread for sound");
    }
    if (std::exception_ptr failure = state.awaitStart()) {
        stop(support::MediaTime());
        std::rethrow_exception(failure);
    }
}

void PipeWireAudioSource::stop(support::MediaTime end) noexcept {
    if (!state_->thread.joinable()) return;
    state_->requestStop(end);
    state_->thread.join();
}

std::unique_ptr<AudioSource> makePipeWireSystemAudioSource() {
    return std::make_unique<PipeWireAudioSource>(
        SoundTarget{SoundTarget::Kind::systemAudio, std::nullopt});
}

std::unique_ptr<AudioSource> makePipeWireMicrophoneSource(std::optional<std::string> deviceID) {
    return std::make_unique<PipeWireAudioSource>(
        SoundTarget{SoundTarget::Kind::microphone, std::move(deviceID)});
}

}  // namespace quorvane::platform::pipewire
