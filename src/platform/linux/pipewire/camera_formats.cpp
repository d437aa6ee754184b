#include "platform/linux/pipewire/camera_formats.h"

#include <cstddef>

#include <pipewire/pipewire.h>

#include "platform/linux/pipewire/connection.h"

namespace quorvane::platform::pipewire {

struct CameraFormats::State {
    explicit State(Connection& owner) : connection(owner) {}
    ~State() {
        if (proxy != nullptr) pw_proxy_destroy(proxy);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    static void onParameter(void* data, int, std::uint32_t id, std::uint32_t, std::uint32_t,
                            const spa_pod* parameter) {
        auto& self = *static_cast<State*>(data);
        if (id != SPA_PARAM_EnumFormat || parameter == nullptr) return;
        self.connection.guarded([&] {
            const auto* words = reinterpret_cast<const std::uint64_t*>(parameter);
            self.parameters.emplace_back(words, words + (SPA_POD_SIZE(parameter) + 7) / 8);
        });
    }

    Connection& connection;
    pw_proxy* proxy = nullptr;
    spa_hook listener{};
    std::vector<std::vector<std::uint64_t>> parameters;  // words, because pods are aligned so
};

CameraFormats::CameraFormats(Connection& connection, pw_registry* registry, std::uint32_t nodeID)
    : state_(std::make_unique<State>(connection)) {
    static const pw_node_events nodeEvents = [] {
        pw_node_events handlers{};
        handlers.version = PW_VERSION_NODE_EVENTS;
        handlers.param = State::onParameter;
        return handlers;
    }();
    state_->proxy = static_cast<pw_proxy*>(
        pw_registry_bind(registry, nodeID, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
    if (state_->proxy == nullptr) return;
    pw_proxy_add_object_listener(state_->proxy, &state_->listener, &nodeEvents, state_.get());
    constexpr std::uint32_t all = UINT32_MAX;
    pw_node_enum_params(reinterpret_cast<pw_node*>(state_->proxy), 0, SPA_PARAM_EnumFormat, 0, all,
                        nullptr);
}

CameraFormats::~CameraFormats() = default;

std::optional<CameraFormat> CameraFormats::best(CameraPreviewLayer::Size wanted) const {
    std::vector<CameraFormat> offered;
    for (const auto& words : state_->parameters) {
        const auto& parameter = *reinterpret_cast<const spa_pod*>(words.data());
        const auto more = offeredFormats(parameter, wanted);
        offered.insert(offered.end(), more.begin(), more.end());
    }
    return bestFormat(offered, wanted);
}

}  // namespace quorvane::platform::pipewire
