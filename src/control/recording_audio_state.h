// Which audio sources a recording has, and which of them are live.
#pragma once

#include "control/messages.h"

namespace quorvane::control {

// Every source that was set up starts live; one that was not is never live.
// Threads: a value; the recorder keeps it on its sample queue.
class RecordingAudioState {
  public:
    RecordingAudioState(bool microphone, bool system)
        : microphoneAvailable(microphone),
          systemAvailable(system),
          microphoneEnabled_(microphone),
          systemEnabled_(system) {}

    // Whether the command's source was set up; if so, it is now as the command says.
    bool apply(const RecorderCommand& command) {
        const bool isMicrophone = command.source == RecordedAudioSource::microphone;
        if (!(isMicrophone ? microphoneAvailable : systemAvailable)) return false;
        (isMicrophone ? microphoneEnabled_ : systemEnabled_) = command.enabled;
        return true;
    }

    bool isEnabled(RecordedAudioSource source) const {
        return source == RecordedAudioSource::microphone ? microphoneEnabled_ : systemEnabled_;
    }

    bool microphoneEnabled() const { return microphoneEnabled_; }
    bool systemEnabled() const { return systemEnabled_; }

    const bool microphoneAvailable;
    const bool systemAvailable;

  private:
    bool microphoneEnabled_;
    bool systemEnabled_;
};

}  // namespace quorvane::control
