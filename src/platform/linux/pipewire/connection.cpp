#include "platform/linux/pipewire/connection.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string_view>
#include <utility>

#include <pipewire/pipewire.h>

#include "platform/linux/pipewire/pipewire_error.h"
#include "support/mutex.h"
#include "support/signals_blocked.h"

namespace quorvane::platform::pipewire {
namespace {

constexpr const char* unusable = "PipeWire could not be set up.";
constexpr const char* unreachable = "The sound server PipeWire could not be reached.";

void initialiseLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        pw_init(nullptr, nullptr);
        // Standard error belongs to the program's own messages, unless somebody looks for more.
        if (std::getenv("PIPEWIRE_DEBUG") == nullptr) pw_log_set_level(SPA_LOG_LEVEL_NONE);
    });
}

struct ContextDeleter {
    void operator()(pw_context* context) const { pw_context_destroy(context); }
};
struct LoopDeleter {
    void operator()(pw_loop* loop) const { pw_loop_destroy(loop); }
};
struct CoreDeleter {
    void operator()(pw_core* core) const { pw_core_disconnect(core); }
};

std::unique_ptr<pw_context, ContextDeleter> makeContext(pw_loop* loop, ConnectionUse use) {
    // The library asks the C library for the user's name, which gives it in a buffer that all
    // share.
    static support::Mutex oneAtATime;
    support::MutexLock lock(oneAtATime);
    // The configuration for sound asks the system for real-time priority. Not every version of
    // PipeWire brings that file; the ordinary one then does the same or has to do.
    for (const char* configuration : {"client-rt.conf", "client.conf"}) {
        if (use == ConnectionUse::query && std::string_view(configuration) != "client.conf") {
            continue;
        }
        pw_properties* properties = pw_properties_new(
            PW_KEY_CONFIG_NAME, configuration, PW_KEY_APP_NAME, "Quorvane Recorder", nullptr);
        if (pw_context* context = pw_context_new(loop, properties, 0)) {
            return std::unique_ptr<pw_context, ContextDeleter>(context);
        }
    }
    throw pipeWireError(errno, unusable);
}

class LoopTimer final : public Timer {
  public:
    LoopTimer(Connection& connection, pw_loop* loop, std::function<void()> onTimer)
        : connection_(connection), loop_(loop), onTimer_(std::move(onTimer)) {
        source_ = pw_loop_add_timer(
            loop_,
            [](void* data, std::uint64_t) {
                auto& self = *static_cast<LoopTimer*>(data);
                self.connection_.guarded(self.onTimer_);
            },
            this);
        if (source_ == nullptr) throw pipeWireError(errno, "PipeWire could not make a timer.");
    }
    ~LoopTimer() override { pw_loop_destroy_source(loop_, source_); }
    LoopTimer(const LoopTimer&) = delete;
    LoopTimer& operator=(const LoopTimer&) = delete;

    void start(std::chrono::nanoseconds delay) override {
        // Nothing at all would switch the timer off.
        const auto ns = std::max(delay, std::chrono::nanoseconds(1)).count();
        timespec value{};
        value.tv_sec = ns / SPA_NSEC_PER_SEC;
        value.tv_nsec = ns % SPA_NSEC_PER_SEC;
        timespec never{};
        // It only fails for descriptors that are no timers.
        pw_loop_update_timer(loop_, source_, &value, &never, false);
    }

  private:
    Connection& connection_;
    pw_loop* loop_;
    std::function<void()> onTimer_;
    spa_source* source_ = nullptr;
};

}  // namespace

struct Connection::State {
    explicit State(Connection& owner) : connection(owner) {}
    ~State() {
        core.reset();
        context.reset();
        if (wakeSource != nullptr) pw_loop_destroy_source(loop.get(), wakeSource);
    }

    static void onDone(void* data, std::uint32_t id, int number) {
        auto& self = *static_cast<State*>(data);
        if (id != PW_ID_CORE || !self.events.onDone) return;
        self.connection.guarded([&] { self.events.onDone(number); });
    }
    static void onError(void* data, std::uint32_t id, int, int result, const char*) {
        // Whatever else the core complains of concerns one object, which hears of it itself.
        if (id != PW_ID_CORE) return;
        auto& self = *static_cast<State*>(data);
        if (result == -EPIPE) {
            self.lost = true;
        } else if (self.events.onRefusal) {
            self.connection.guarded([&] { self.events.onRefusal(result); });
        }
    }
    static void onWake(void* data, std::uint64_t) {
        auto& self = *static_cast<State*>(data);
        if (self.events.onWake) self.connection.guarded(self.events.onWake);
    }

    Connection& connection;
    Events events;
    std::unique_ptr<pw_loop, LoopDeleter> loop;
    spa_source* wakeSource = nullptr;
    std::unique_ptr<pw_context, ContextDeleter> context;
    spa_hook listener{};
    std::unique_ptr<pw_core, CoreDeleter> core;
    bool lost = false;
    bool quitting = false;
};

Connection::Connection(ConnectionUse use, Events events) : state_(std::make_unique<State>(*this)) {
    static const pw_core_events coreEvents = [] {
        pw_core_events handlers{};
        handlers.version = PW_VERSION_CORE_EVENTS;
        handlers.done = State::onDone;
        handlers.error = State::onError;
        return handlers;
    }();
    const support::SignalsBlocked signalsBlocked;
    initialiseLibrary();
    State& state = *state_;
    state.events = std::move(events);
    state.loop.reset(pw_loop_new(nullptr));
    if (!state.loop) throw pipeWireError(errno, unusable);
    state.wakeSource = pw_loop_add_event(state.loop.get(), State::onWake, &state);
    if (state.wakeSource == nullptr) throw pipeWireError(errno, unusable);
    state.context = makeContext(state.loop.get(), use);
    errno = 0;
    state.core.reset(pw_context_connect(state.context.get(), nullptr, 0));
    if (!state.core) throw pipeWireError(errno != 0 ? errno : EHOSTDOWN, unreachable);
    pw_core_add_listener(state.core.get(), &state.listener, &coreEvents, &state);
}

Connection::~Connection() = default;

void Connection::run() {
    pw_loop_enter(state_->loop.get());
    while (!state_->quitting && !state_->lost) {
        const int result = pw_loop_iterate(state_->loop.get(), -1);
        if (result < 0 && result != -EINTR) state_->lost = true;
    }
    pw_loop_leave(state_->loop.get());
}

void Connection::quit() {
    state_->quitting = true;
}

bool Connection::isLost() const {
    return state_->lost;
}

void Connection::lose() noexcept {
    state_->lost = true;
}

int Connection::sync() {
    return pw_core_sync(state_->core.get(), PW_ID_CORE, 0);
}

std::unique_ptr<Timer> Connection::makeTimer(std::function<void()> onTimer) {
    return std::make_unique<LoopTimer>(*this, state_->loop.get(), std::move(onTimer));
}

void Connection::wake() noexcept {
    pw_loop_signal_event(state_->loop.get(), state_->wakeSource);
}

pw_core* Connection::core() const {
    return state_->core.get();
}

}  // namespace quorvane::platform::pipewire
