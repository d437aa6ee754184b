#include "platform/linux/pipewire/port_latency.h"

#include <utility>

#include <pipewire/pipewire.h>
#include <spa/param/latency-utils.h>

#include "platform/linux/pipewire/connection.h"
#include "platform/linux/pipewire/sound_graph.h"

namespace quorvane::platform::pipewire {

std::chrono::nanoseconds PortLatency::Value::in(std::chrono::nanoseconds cycle,
                                                int graphRate) const {
    const double framesTime = graphRate > 0 ? frames * 1e9 / graphRate : 0;
    const double sum = cycles * static_cast<double>(cycle.count()) + framesTime;
    return std::chrono::nanoseconds(static_cast<std::int64_t>(sum)) + time;
}

struct PortLatency::State {
    State(Connection& owner, PortDirection side, std::function<void()> before)
        : connection(owner), direction(side), willChange(std::move(before)) {}
    ~State() {
        if (port != nullptr) pw_proxy_destroy(reinterpret_cast<pw_proxy*>(port));
    }

    static void onParam(void* data, int, std::uint32_t id, std::uint32_t, std::uint32_t,
                        const spa_pod* param) {
        if (id != SPA_PARAM_Latency || param == nullptr) return;
        auto& self = *static_cast<State*>(data);
        spa_latency_info info;
        if (spa_latency_parse(param, &info) < 0) return;
        const auto wanted =
            self.direction == PortDirection::in ? SPA_DIRECTION_INPUT : SPA_DIRECTION_OUTPUT;
        if (info.direction != wanted) return;
        self.connection.guarded([&] {
            self.willChange();
            self.value.cycles = (static_cast<double>(info.min_quantum) + info.max_quantum) / 2;
            self.value.frames = (static_cast<double>(info.min_rate) + info.max_rate) / 2;
            self.value.time = std::chrono::nanoseconds((info.min_ns + info.max_ns) / 2);
        });
    }

    Connection& connection;
    PortDirection direction;
    std::function<void()> willChange;
    pw_port* port = nullptr;
    spa_hook listener{};
    Value value;
};

PortLatency::PortLatency(Connection& connection, const SoundGraph& graph, std::uint32_t portID,
                         PortDirection direction, std::function<void()> willChange)
    : state_(std::make_unique<State>(connection, direction, std::move(willChange))) {
    static const pw_port_events portEvents = [] {
        pw_port_events handlers{};
        handlers.version = PW_VERSION_PORT_EVENTS;
        handlers.param = State::onParam;
        return handlers;
    }();
    state_->port = static_cast<pw_port*>(
        pw_registry_bind(graph.registry(), portID, PW_TYPE_INTERFACE_Port, PW_VERSION_PORT, 0));
    if (state_->port == nullptr) return;
    pw_port_add_listener(state_->port, &state_->listener, &portEvents, state_.get());
    std::uint32_t latency = SPA_PARAM_Latency;
    pw_port_subscribe_params(state_->port, &latency, 1);
}

PortLatency::~PortLatency() = default;

const PortLatency::Value& PortLatency::value() const {
    return state_->value;
}

}  // namespace quorvane::platform::pipewire
