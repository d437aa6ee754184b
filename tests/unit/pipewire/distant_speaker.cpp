#include "unit/pipewire/distant_speaker.h"

#include <array>
#include <cstddef>
#include <stdexcept>

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/latency-utils.h>

namespace quorvane::test {

struct DistantSpeaker::State {
    ~State() {
        if (loop == nullptr) return;
        pw_thread_loop_stop(loop);
        if (stream != nullptr) pw_stream_destroy(stream);
        if (core != nullptr) pw_core_disconnect(core);
        if (context != nullptr) pw_context_destroy(context);
        pw_thread_loop_destroy(loop);
    }

    static void onProcess(void* data) {
        auto& self = *static_cast<State*>(data);
        while (pw_buffer* buffer = pw_stream_dequeue_buffer(self.stream)) {
            pw_stream_queue_buffer(self.stream, buffer);
        }
    }
    static void onParamChanged(void* data, std::uint32_t id, const spa_pod* param) {
        if (id != SPA_PARAM_Format || param == nullptr) return;
        auto& self = *static_cast<State*>(data);
        std::array<std::byte, 512> space;
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, space.data(), space.size());
        spa_latency_info latency{};
        latency.direction = SPA_DIRECTION_INPUT;
        latency.min_ns = static_cast<std::uint64_t>(self.latency.count());
        latency.max_ns = latency.min_ns;
        const spa_pod* pod = spa_latency_build(&builder, SPA_PARAM_Latency, &latency);
        pw_stream_update_params(self.stream, &pod, 1);
    }

    std::chrono::nanoseconds latency{0};
    pw_thread_loop* loop = nullptr;
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    pw_stream* stream = nullptr;
    spa_hook listener{};
};

DistantSpeaker::DistantSpeaker(const std::string& name, std::chrono::nanoseconds latency)
    : state_(std::make_unique<State>()) {
    static const pw_stream_events streamEvents = [] {
        pw_stream_events handlers{};
        handlers.version = PW_VERSION_STREAM_EVENTS;
        handlers.param_changed = State::onParamChanged;
        handlers.process = State::onProcess;
        return handlers;
    }();
    State& state = *state_;
    state.latency = latency;
    pw_init(nullptr, nullptr);
    state.loop = pw_thread_loop_new("distant-speaker", nullptr);
    if (state.loop == nullptr) throw std::runtime_error("No loop.");
    state.context = pw_context_new(pw_thread_loop_get_loop(state.loop), nullptr, 0);
    if (state.context != nullptr) state.core = pw_context_connect(state.context, nullptr, 0);
    if (state.core == nullptr) throw std::runtime_error("No sound server.");
    state.stream =
        pw_stream_new(state.core, name.c_str(),
                      pw_properties_new(PW_KEY_MEDIA_CLASS, "Audio/Sink", PW_KEY_NODE_NAME,
                                        name.c_str(), PW_KEY_NODE_DESCRIPTION, name.c_str(),
                                        PW_KEY_PRIORITY_SESSION, "1", nullptr));
    if (state.stream == nullptr) throw std::runtime_error("No stream.");
    pw_stream_add_listener(state.stream, &state.listener, &streamEvents, &state);
    std::array<std::byte, 512> space;
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, space.data(), space.size());
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32;
    format.rate = 48000;
    format.channels = 2;
    format.position[0] = SPA_AUDIO_CHANNEL_FL;
    format.position[1] = SPA_AUDIO_CHANNEL_FR;
    const spa_pod* pod = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format);
    const int flags =
        PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
    if (pw_stream_connect(state.stream, PW_DIRECTION_INPUT, PW_ID_ANY,
                          static_cast<pw_stream_flags>(flags), &pod, 1) < 0 ||
        pw_thread_loop_start(state.loop) < 0) {
        throw std::runtime_error("The speaker could not be connected.");
    }
}

DistantSpeaker::~DistantSpeaker() = default;

}  // namespace quorvane::test
