// The port to the audio input devices.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quorvane::platform {

struct AudioInputDevice {
    std::string uniqueID;
    std::string localizedName;
};

class AudioDevices {
  public:
    virtual ~AudioDevices() = default;
    // The system's default input; nothing when there is none or the service does not answer.
    // Blocks for at most a second.
    virtual std::optional<AudioInputDevice> defaultInputDevice() = 0;
    // All inputs in the platform's order; none when the service does not answer.
    // Blocks for at most a second.
    virtual std::vector<AudioInputDevice> inputDevices() = 0;
};

}  // namespace quorvane::platform
