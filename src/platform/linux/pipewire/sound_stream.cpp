#include "platform/linux/pipewire/sound_stream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

#include "platform/linux/pipewire/connection.h"
#include "platform/linux/pipewire/pipewire_error.h"
#include "platform/linux/pipewire/sound_buffer.h"

namespace quorvane::platform::pipewire {
namespace {

static_assert(CycleRing::channels == soundChannels);

// 1.4 s: longer than this thread is ever kept from reading. The graph's cycles are 1024 frames
// unless another stream asks for shorter ones, down to 32.
constexpr std::size_t ringFrames = 65536;
constexpr std::size_t ringCycles = 2048;

constexpr std::size_t frameSize = soundChannels * sizeof(float);  // bytes
constexpr std::int64_t nsPerSecond = 1'000'000'000;

// The sound in one buffer of the stream.
struct Stretch {
    pw_buffer* buffer = nullptr;
    const float* samples = nullptr;
    std::uint32_t frames = 0;

    // The chunk is written by another process: it is read once and believed only within the buffer.
    static Stretch in(pw_buffer& buffer) {
        const spa_data& plane = buffer.buffer->datas[0];
        if (plane.data == nullptr) return {&buffer};
        const std::uint32_t offset = std::min<std::uint32_t>(plane.chunk->offset, plane.maxsize);
        const std::uint32_t size =
            std::min<std::uint32_t>(plane.chunk->size, plane.maxsize - offset);
        const auto* start = static_cast<const std::byte*>(plane.data) + offset;
        return {&buffer, reinterpret_cast<const float*>(start),
                static_cast<std::uint32_t>(size / frameSize)};
    }
};

pw_properties* propertiesOf(const SoundTarget& target) {
    const bool system = target.kind == SoundTarget::Kind::systemAudio;
    // The application ID is what the session manager remembers a stream's volume by; one ID for
    // both would carry the microphone's over to the system's sound.
    pw_properties* properties = pw_properties_new(
        PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_NODE_NAME,
        system ? "quorvane-recorder-system-audio" : "quorvane-recorder-microphone",
        PW_KEY_NODE_DESCRIPTION, "Quorvane Recorder", PW_KEY_APP_ID,
        system ? "quorvane-recorder.system-audio" : "quorvane-recorder.microphone",
        PW_KEY_NODE_LATENCY, "1024/48000", "state.restore-target", "false", nullptr);
    if (properties == nullptr) return nullptr;
    if (system) pw_properties_set(properties, PW_KEY_STREAM_CAPTURE_SINK, "true");
    if (target.deviceID) {
        pw_properties_set(properties, PW_KEY_TARGET_OBJECT, target.deviceID->c_str());
    }
    return properties;
}

}  // namespace

struct SoundStream::State {
    State(Connection& owner, std::function<void()> handler)
        : connection(owner), onChange(std::move(handler)), ring(ringCycles, ringFrames) {}
    ~State() {
        usable = false;
        // No process callback runs after this, so the ring may go.
        if (stream != nullptr) pw_stream_destroy(stream);
    }

    static void onStateChanged(void* data, pw_stream_state, pw_stream_state now, const char*) {
        auto& self = *static_cast<State*>(data);
        if (now == PW_STREAM_STATE_ERROR || now == PW_STREAM_STATE_UNCONNECTED) {
            self.failed = true;
        }
        if (self.usable) self.connection.guarded(self.onChange);
    }

    // The graph's position lies in memory that the server shares and takes away; PipeWire does so
    // after this call, so the data thread must have let go of it when this returns.
    static void onIoChanged(void* data, std::uint32_t id, void* area, std::uint32_t size) {
        if (id != SPA_IO_Position) return;
        auto& self = *static_cast<State*>(data);
        const spa_io_position* position =
            size >= sizeof(spa_io_position) ? static_cast<const spa_io_position*>(area) : nullptr;
        pw_data_loop* loop = pw_context_get_data_loop(pw_core_get_context(self.connection.core()));
        pw_data_loop_invoke(
            loop,
            [](spa_loop*, bool, std::uint32_t, const void* argument, std::size_t, void* user) {
                static_cast<State*>(user)->position =
                    *static_cast<const spa_io_position* const*>(argument);
                return 0;
            },
            0, &position, sizeof(void*), true, &self);
    }

    // In PipeWire's data thread.
    static void onProcess(void* data) {
        auto& self = *static_cast<State*>(data);
        pw_time time{};
        const bool timed = pw_stream_get_time_n(self.stream, &time, sizeof time) == 0 &&
                           time.rate.num != 0 && time.rate.denom != 0;

        // Usually one buffer; as many as a stream can have when a cycle was missed.
        std::array<Stretch, 64> stretches;
        std::size_t count = 0;
        std::int64_t frames = 0;
        while (count < stretches.size()) {
            pw_buffer* buffer = pw_stream_dequeue_buffer(self.stream);
            if (buffer == nullptr) break;
            stretches[count] = Stretch::in(*buffer);
            frames += stretches[count].frames;
            ++count;
        }
        if (count == 0) return;

        CapturedCycle cycle;
        if (self.position != nullptr) cycle.driver = self.position->clock.id;
        std::int64_t earlier = 0;  // frames that were in the graph before this cycle
        if (timed) {
            const std::int64_t second = nsPerSecond * static_cast<std::int64_t>(time.rate.num);
            cycle.upstreamDelay = time.delay * second / static_cast<std::int64_t>(time.rate.denom);
            cycle.graphRate = static_cast<std::int32_t>(time.rate.denom / time.rate.num);
            earlier =
                frames - stretches[count - 1].frames + static_cast<std::int64_t>(time.buffered);
        }
        for (std::size_t i = 0; i < count; ++i) {
            const Stretch& stretch = stretches[i];
            cycle.graphTime = time.now - earlier * nsPerSecond / soundRate;
            cycle.frames = stretch.frames;
            earlier -= stretch.frames;
            if (timed && stretch.frames > 0) self.ring.push(cycle, stretch.samples);
            pw_stream_queue_buffer(self.stream, stretch.buffer);
        }
        self.connection.wake();
    }

    Connection& connection;
    std::function<void()> onChange;
    CycleRing ring;
    pw_stream* stream = nullptr;
    spa_hook listener{};
    const spa_io_position* position = nullptr;  // the data thread's own
    bool failed = false;
    bool usable = false;  // constructed, and not being destroyed
};

SoundStream::SoundStream(Connection& connection, const SoundTarget& target,
                         std::function<void()> onChange)
    : state_(std::make_unique<State>(connection, std::move(onChange))) {
    static const pw_stream_events streamEvents = [] {
        pw_stream_events handlers{};
        handlers.version = PW_VERSION_STREAM_EVENTS;
        handlers.state_changed = State::onStateChanged;
        handlers.io_changed = State::onIoChanged;
        handlers.process = State::onProcess;
        return handlers;
    }();
    const bool system = target.kind == SoundTarget::Kind::systemAudio;
    state_->stream = pw_stream_new(connection.core(), system ? "System audio" : "Microphone",
                                   propertiesOf(target));
    if (state_->stream == nullptr) throw pipeWireError(errno, "PipeWire could not make a stream.");
    pw_stream_add_listener(state_->stream, &state_->listener, &streamEvents, state_.get());

    std::array<std::byte, 1024> space;
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, space.data(), space.size());
    spa_audio_info_raw wanted{};
    wanted.format = SPA_AUDIO_FORMAT_F32;
    wanted.rate = soundRate;
    wanted.channels = soundChannels;
    wanted.position[0] = SPA_AUDIO_CHANNEL_FL;
    wanted.position[1] = SPA_AUDIO_CHANNEL_FR;
    const spa_pod* format = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &wanted);

    int flags = PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
    // A microphone that the user chose is never replaced by another one behind their back.
    if (target.deviceID) flags |= PW_STREAM_FLAG_DONT_RECONNECT;
    const int result = pw_stream_connect(state_->stream, PW_DIRECTION_INPUT, PW_ID_ANY,
                                         static_cast<pw_stream_flags>(flags), &format, 1);
    if (result < 0) throw pipeWireError(result, "PipeWire could not connect a stream.");
    state_->usable = true;
}

SoundStream::~SoundStream() = default;

CycleRing& SoundStream::ring() {
    return state_->ring;
}

std::optional<std::uint32_t> SoundStream::nodeID() const {
    const std::uint32_t id = pw_stream_get_node_id(state_->stream);
    if (id == SPA_ID_INVALID) return std::nullopt;
    return id;
}

bool SoundStream::hasFailed() const {
    return state_->failed;
}

}  // namespace quorvane::platform::pipewire
