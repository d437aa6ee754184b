#include "sound_player.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <stdexcept>
#include <thread>

#include <pipewire/pipewire.h>
#include <signal.h>
#include <spa/param/audio/format-utils.h>

namespace quorvane::tools {
namespace {

constexpr int rate = 48000;
constexpr int channels = 2;
constexpr std::size_t frameSize = channels * sizeof(float);
constexpr std::int64_t nsPerSecond = 1'000'000'000;
constexpr auto startPatience = std::chrono::seconds(5);

std::int64_t framesIn(std::int64_t ns) {
    return ns * rate / nsPerSecond;
}
std::int64_t nsOf(std::int64_t frames) {
    return frames * nsPerSecond / rate;
}

// A beep: the caller makes one that is done into a waiting one, the data thread goes on from there.
struct Slot {
    enum class Stage { waiting, playing, done };

    std::atomic<Stage> stage{Stage::done};
    std::atomic<std::int64_t> heardAt{0};  // ns
    std::int64_t wantedAt = 0;             // ns
    Beep beep;
    int number = 0;
    std::int64_t played = 0;  // frames, the data thread's own
};

struct LoopDeleter {
    void operator()(pw_thread_loop* loop) const { pw_thread_loop_destroy(loop); }
};

}  // namespace

struct SoundPlayer::State {
    ~State() {
        if (!loop) return;
        pw_thread_loop_stop(loop.get());
        if (stream != nullptr) pw_stream_destroy(stream);
        if (core != nullptr) pw_core_disconnect(core);
        if (context != nullptr) pw_context_destroy(context);
    }

    // In PipeWire's data thread.
    static void onProcess(void* data) {
        auto& self = *static_cast<State*>(data);
        pw_buffer* buffer = pw_stream_dequeue_buffer(self.stream);
        if (buffer == nullptr) return;
        spa_data& plane = buffer->buffer->datas[0];
        const auto room = static_cast<std::int64_t>(plane.maxsize / frameSize);
        const std::int64_t frames =
            buffer->requested != 0 ? std::min<std::int64_t>(room, buffer->requested) : room;
        pw_time time{};
        pw_stream_get_time_n(self.stream, &time, sizeof time);
        if (time.rate.denom != 0) {
            const std::int64_t delay = time.delay * nsPerSecond * time.rate.num / time.rate.denom;
            const auto ahead = static_cast<std::int64_t>(time.queued + time.buffered);
            self.render(static_cast<float*>(plane.data), frames, time.now + delay + nsOf(ahead));
            self.flowing.store(true);
        } else {
            std::fill_n(static_cast<float*>(plane.data), frames * channels, 0.0F);
        }
        plane.chunk->offset = 0;
        plane.chunk->stride = frameSize;
        plane.chunk->size = static_cast<std::uint32_t>(frames * std::int64_t{frameSize});
        buffer->size = static_cast<std::uint64_t>(frames);
        pw_stream_queue_buffer(self.stream, buffer);
    }

    // start: when the first of the frames is heard.
    void render(float* samples, std::int64_t frames, std::int64_t start) {
        const double left = toneLeft.load();
        const double right = toneRight.load();
        const double step = toneFrequency.load() / rate;
        for (std::int64_t i = 0; i < frames; ++i) {
            const double sine = std::sin(2 * std::numbers::pi * phase);
            samples[i * channels] = static_cast<float>(left * sine);
            samples[i * channels + 1] = static_cast<float>(right * sine);
            phase = std::fmod(phase + step, 1.0);
        }
        for (Slot& slot : slots) {
            if (slot.stage.load(std::memory_order_acquire) != Slot::Stage::done) {
                mixIn(slot, samples, frames, start);
            }
        }
    }

    void mixIn(Slot& slot, float* samples, std::int64_t frames, std::int64_t start) {
        std::int64_t at = 0;
        if (slot.stage.load(std::memory_order_relaxed) == Slot::Stage::waiting) {
            // The sample nearest to the wanted time; the first one when that is past.
            at = std::max<std::int64_t>(0, framesIn(slot.wantedAt - start + nsOf(1) / 2));
            if (at >= frames) return;
            slot.played = 0;
            slot.heardAt.store(start + nsOf(at));
            slot.stage.store(Slot::Stage::playing, std::memory_order_release);
        }
        const std::int64_t length = std::int64_t{slot.beep.length.count()} * rate / 1000;
        const double step = slot.beep.frequency / rate;
        for (; at < frames && slot.played < length; ++at, ++slot.played) {
            // From the crest: the very first sample is loud.
            const double sample = slot.beep.amplitude * std::cos(2 * std::numbers::pi * step *
                                                                 static_cast<double>(slot.played));
            samples[at * channels] += static_cast<float>(sample);
            samples[at * channels + 1] += static_cast<float>(sample);
        }
        if (slot.played >= length) slot.stage.store(Slot::Stage::done, std::memory_order_release);
    }

    std::unique_ptr<pw_thread_loop, LoopDeleter> loop;
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    pw_stream* stream = nullptr;
    spa_hook listener{};
    std::atomic<bool> flowing{false};
    std::atomic<double> toneFrequency{1000};
    std::atomic<double> toneLeft{0};
    std::atomic<double> toneRight{0};
    double phase = 0;  // of the tone, in turns; the data thread's own
    std::array<Slot, 64> slots;
    int nextNumber = 1;
};

SoundPlayer::SoundPlayer(const std::string& targetNode) : state_(std::make_unique<State>()) {
    static const pw_stream_events streamEvents = [] {
        pw_stream_events handlers{};
        handlers.version = PW_VERSION_STREAM_EVENTS;
        handlers.process = State::onProcess;
        return handlers;
    }();
    State& state = *state_;
    pw_init(nullptr, nullptr);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    state.loop.reset(pw_thread_loop_new("sound-player", nullptr));
    if (state.loop) {
        state.context = pw_context_new(pw_thread_loop_get_loop(state.loop.get()), nullptr, 0);
    }
    if (state.context != nullptr) state.core = pw_context_connect(state.context, nullptr, 0);
    if (state.core != nullptr) {
        state.stream = pw_stream_new(
            state.core, "Test sound",
            pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback",
                              PW_KEY_NODE_NAME, "sound-player", PW_KEY_TARGET_OBJECT,
                              targetNode.c_str(), PW_KEY_NODE_LATENCY, "1024/48000", nullptr));
    }
    int result = -1;
    if (state.stream != nullptr) {
        pw_stream_add_listener(state.stream, &state.listener, &streamEvents, &state);
        std::array<std::byte, 1024> space;
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, space.data(), space.size());
        spa_audio_info_raw format{};
        format.format = SPA_AUDIO_FORMAT_F32;
        format.rate = rate;
        format.channels = channels;
        format.position[0] = SPA_AUDIO_CHANNEL_FL;
        format.position[1] = SPA_AUDIO_CHANNEL_FR;
        const spa_pod* pod = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format);
        const int flags = PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                          PW_STREAM_FLAG_RT_PROCESS | PW_STREAM_FLAG_DONT_RECONNECT;
        result = pw_stream_connect(state.stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                                   static_cast<pw_stream_flags>(flags), &pod, 1);
    }
    if (result >= 0) result = pw_thread_loop_start(state.loop.get());
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (result < 0) throw std::runtime_error("The sound server could not be reached.");

    const auto deadline = std::chrono::steady_clock::now() + startPatience;
    while (!state.flowing.load()) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("No sound flows into " + targetNode + ".");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

SoundPlayer::~SoundPlayer() = default;

void SoundPlayer::setTone(std::optional<Tone> tone) {
    if (tone) state_->toneFrequency.store(tone->frequency);
    state_->toneLeft.store(tone ? tone->left : 0);
    state_->toneRight.store(tone ? tone->right : 0);
}

int SoundPlayer::playBeepAt(support::MediaTime time, const Beep& beep) {
    const auto free =
        std::find_if(state_->slots.begin(), state_->slots.end(), [](const Slot& slot) {
            return slot.stage.load(std::memory_order_acquire) == Slot::Stage::done;
        });
    if (free == state_->slots.end()) throw std::runtime_error("Too many beeps are waiting.");
    free->wantedAt = time.time_since_epoch().count();
    free->beep = beep;
    free->number = state_->nextNumber++;
    free->stage.store(Slot::Stage::waiting, std::memory_order_release);
    return free->number;
}

std::optional<support::MediaTime> SoundPlayer::beepHeardAt(int number,
                                                           std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    const auto slot = std::find_if(state_->slots.begin(), state_->slots.end(),
                                   [&](const Slot& each) { return each.number == number; });
    if (slot == state_->slots.end()) return std::nullopt;
    while (slot->stage.load(std::memory_order_acquire) == Slot::Stage::waiting) {
        if (std::chrono::steady_clock::now() > deadline) return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return support::MediaTime(std::chrono::nanoseconds(slot->heardAt.load()));
}

}  // namespace quorvane::tools
