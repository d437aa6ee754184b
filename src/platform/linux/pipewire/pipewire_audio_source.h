// Captures sound from PipeWire: what the speakers play, or a microphone.
// Format: 48 kHz, stereo, interleaved float32, in buffers of at most 1024 frames. Times are
// CLOCK_MONOTONIC, by the graph's own time: when a microphone heard the sound, and when it was to
// be heard from the speakers.
// System audio follows the default speaker. The default microphone is followed too; a chosen one
// is never replaced by another.
// Threads: start() and stop() from one thread at a time. Two threads run while capturing: the
// source's, which calls back, and PipeWire's data thread. Neither takes signals.
// Errors: start() throws PlatformError of the domain "PipeWire". After it a device or a server
// that goes away only means that no sound comes until it is back.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/linux/audio_source.h"

namespace quorvane::platform::pipewire {

struct SoundTarget;

class PipeWireAudioSource final : public AudioSource {
  public:
    explicit PipeWireAudioSource(SoundTarget target);
    // Stops at once if it was not stopped.
    ~PipeWireAudioSource() override;

    void start(OnSamples onSamples) override;
    void stop(support::MediaTime end) noexcept override;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

std::unique_ptr<AudioSource> makePipeWireSystemAudioSource();
// deviceID: the uniqueID of AudioInputDevice; without one the default microphone.
std::unique_ptr<AudioSource> makePipeWireMicrophoneSource(std::optional<std::string> deviceID);

}  // namespace quorvane::platform::pipewire
