// The audio input devices as PipeWire and its session manager know them: uniqueID is the node's
// name, localizedName its description.
// Threads: any one at a time; signals are never taken by the thread that PipeWire adds for the
// call. Errors: none; without a server that answers in time there are no devices.
#pragma once

#include "platform/audio_devices.h"

namespace quorvane::platform::pipewire {

class PipeWireAudioDevices final : public AudioDevices {
  public:
    std::optional<AudioInputDevice> defaultInputDevice() override;
    std::vector<AudioInputDevice> inputDevices() override;
};

}  // namespace quorvane::platform::pipewire
