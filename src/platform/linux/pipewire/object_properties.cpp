#include "platform/linux/pipewire/object_properties.h"

#include <pipewire/pipewire.h>

#include "platform/linux/pipewire/connection.h"

namespace quorvane::platform::pipewire {

struct ObjectProperties::State {
    explicit State(Connection& owner) : connection(owner) {}
    ~State() {
        if (proxy != nullptr) pw_proxy_destroy(proxy);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    template <class Info>
    static void onInfo(void* data, const Info* info) {
        auto& self = *static_cast<State*>(data);
        if (info == nullptr || info->props == nullptr) return;
        self.connection.guarded([&] {
            const spa_dict_item* item = nullptr;
            spa_dict_for_each(item, info->props) {
                if (item->value != nullptr) self.values[item->key] = item->value;
            }
        });
    }

    Connection& connection;
    pw_proxy* proxy = nullptr;
    spa_hook listener{};
    std::map<std::string, std::string> values;
};

ObjectProperties::ObjectProperties(Connection& connection, pw_registry* registry, Kind kind,
                                   std::uint32_t id)
    : state_(std::make_unique<State>(connection)) {
    static const pw_node_events nodeEvents = [] {
        pw_node_events handlers{};
        handlers.version = PW_VERSION_NODE_EVENTS;
        handlers.info = State::onInfo<pw_node_info>;
        return handlers;
    }();
    static const pw_device_events deviceEvents = [] {
        pw_device_events handlers{};
        handlers.version = PW_VERSION_DEVICE_EVENTS;
        handlers.info = State::onInfo<pw_device_info>;
        return handlers;
    }();
    struct Interface {
        const char* type;
        std::uint32_t version;
        const void* events;
    };
    const auto interface =
        kind == Kind::node ? Interface{PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, &nodeEvents}
                           : Interface{PW_TYPE_INTERFACE_Device, PW_VERSION_DEVICE, &deviceEvents};
    state_->proxy = static_cast<pw_proxy*>(
        pw_registry_bind(registry, id, interface.type, interface.version, 0));
    if (state_->proxy == nullptr) return;
    pw_proxy_add_object_listener(state_->proxy, &state_->listener, interface.events, state_.get());
}

ObjectProperties::~ObjectProperties() = default;

std::string ObjectProperties::operator[](const std::string& key) const {
    const auto found = state_->values.find(key);
    return found != state_->values.end() ? found->second : std::string();
}

}  // namespace quorvane::platform::pipewire
