#include "platform/linux/pipewire/pipewire_audio_devices.h"

#include "platform/linux/pipewire/graph_query.h"
#include "platform/linux/pipewire/sound_graph.h"

namespace quorvane::platform::pipewire {
namespace {

AudioInputDevice deviceOf(const SoundNode& node) {
    return {.uniqueID = node.name, .localizedName = node.description};
}

}  // namespace

std::optional<AudioInputDevice> PipeWireAudioDevices::defaultInputDevice() {
    std::optional<AudioInputDevice> device;
    queryGraph([&](const SoundGraph& graph) {
        if (const SoundNode* source = graph.defaultSource()) device = deviceOf(*source);
    });
    return device;
}

std::vector<AudioInputDevice> PipeWireAudioDevices::inputDevices() {
    std::vector<AudioInputDevice> devices;
    queryGraph([&](const SoundGraph& graph) {
        for (const SoundNode* source : graph.sources())
            devices.push_back(deviceOf(*source));
    });
    return devices;
}

}  // namespace quorvane::platform::pipewire
