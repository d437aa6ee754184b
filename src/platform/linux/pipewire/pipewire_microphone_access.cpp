#include "platform/linux/pipewire/pipewire_microphone_access.h"

#include <algorithm>

#include "platform/linux/pipewire/graph_query.h"
#include "platform/linux/pipewire/sound_graph.h"

namespace quorvane::platform::pipewire {
namespace {

bool microphonesMayBeUsed(const SoundGraph& graph) {
    const auto sources = graph.sources();
    if (sources.empty()) return !graph.isEmpty();
    return std::any_of(sources.begin(), sources.end(),
                       [](const SoundNode* source) { return source->mayBeUsed; });
}

}  // namespace

MicrophoneAccess microphoneAccess() {
    bool allowed = false;
    switch (queryGraph([&](const SoundGraph& graph) { allowed = microphonesMayBeUsed(graph); })) {
        case GraphAnswer::complete:
            return allowed ? MicrophoneAccess::allowed : MicrophoneAccess::refused;
        case GraphAnswer::refused:
            return MicrophoneAccess::refused;
        case GraphAnswer::unreachable:
            return MicrophoneAccess::noServer;
        case GraphAnswer::late:
            break;
    }
    return MicrophoneAccess::unknown;
}

}  // namespace quorvane::platform::pipewire
