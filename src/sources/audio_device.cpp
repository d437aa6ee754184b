#include "sources/audio_device.h"

namespace quorvane::sources {

std::vector<AudioDevice> listAudioDevices(platform::AudioDevices& devices) {
    const auto defaultDevice = devices.defaultInputDevice();
    const std::string defaultID = defaultDevice ? defaultDevice->uniqueID : "";
    std::vector<AudioDevice> listed;
    for (const auto& device : devices.inputDevices()) {
        listed.push_back({.id = device.uniqueID,
                          .name = device.localizedName,
                          .isDefault = device.uniqueID == defaultID});
    }
    return listed;
}

}  // namespace quorvane::sources
