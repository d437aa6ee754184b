// The microphones, as the parent is told; it hands an id back to record.
// Threads: any one at a time. Errors: none; without devices the list is empty.
#pragma once

#include <string>
#include <vector>

#include "platform/audio_devices.h"
#include "support/json.h"

namespace quorvane::sources {

struct AudioDevice {
    std::string id;
    std::string name;
    bool isDefault = false;
};

// In the platform's order. Blocks for as long as the platform takes to answer twice.
std::vector<AudioDevice> listAudioDevices(platform::AudioDevices& devices);

inline void encode(const AudioDevice& device, support::JsonObject& object) {
    object.member("id", device.id);
    object.member("name", device.name);
    object.member("isDefault", device.isDefault);
}

}  // namespace quorvane::sources
