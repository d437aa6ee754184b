#include "platform/linux/pipewire/sound_graph.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>
#include <spa/utils/json.h>

#include "platform/linux/pipewire/connection.h"
#include "platform/linux/pipewire/pipewire_error.h"

namespace quorvane::platform::pipewire {
namespace {

struct Port {
    std::uint32_t nodeID = 0;
    PortDirection direction = PortDirection::in;
};

struct Link {
    std::uint32_t fromNode = 0;
    std::uint32_t intoNode = 0;
};

constexpr const char* effectiveSource = "default.audio.source";
constexpr const char* chosenSource = "default.configured.audio.source";

std::string_view textOf(const spa_dict& properties, const char* key) {
    const char* value = spa_dict_lookup(&properties, key);
    return value != nullptr ? std::string_view(value) : std::string_view();
}

std::uint32_t idOf(const spa_dict& properties, const char* key) {
    const std::string_view text = textOf(properties, key);
    std::uint32_t id = SPA_ID_INVALID;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    return error == std::errc() && end == text.data() + text.size() ? id : SPA_ID_INVALID;
}

// The "name" of a default's value, {"name": "..."}; empty when there is none.
std::string nameIn(const char* json) {
    spa_json outer;
    spa_json object;
    spa_json_init(&outer, json, std::strlen(json));
    if (spa_json_enter_object(&outer, &object) <= 0) return {};
    char key[64];
    const char* value = nullptr;
    while (spa_json_get_string(&object, key, sizeof key) > 0) {
        const int length = spa_json_next(&object, &value);
        if (length <= 0) return {};
        if (std::string_view(key) != "name" || !spa_json_is_string(value, length)) continue;
        std::string name(static_cast<std::size_t>(length) + 1, '\0');
        if (spa_json_parse_stringn(value, length, name.data(), static_cast<int>(name.size())) <=
            0) {
            return {};
        }
        name.resize(std::strlen(name.c_str()));
        return name;
    }
    return {};
}

struct ProxyDeleter {
    template <class Proxy>
    void operator()(Proxy* proxy) const {
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(proxy));
    }
};

}  // namespace

bool SoundNode::isSource() const {
    return mediaClass.starts_with("Audio/Source") || mediaClass == "Audio/Duplex";
}

bool SoundNode::isSink() const {
    return mediaClass.starts_with("Audio/Sink") || mediaClass == "Audio/Duplex";
}

struct SoundGraph::State {
    State(Connection& owner, Events handlers) : connection(owner), events(std::move(handlers)) {}

    template <class Change>
    void change(Change&& apply) {
        connection.guarded([&] {
            if (events.willChange) events.willChange();
            apply();
            if (events.didChange) events.didChange();
        });
    }

    void add(std::uint32_t id, std::uint32_t permissions, std::string_view type,
             const spa_dict& properties) {
        shown.insert(id);
        if (type == PW_TYPE_INTERFACE_Node) {
            SoundNode node;
            node.id = id;
            node.name = textOf(properties, PW_KEY_NODE_NAME);
            node.description = textOf(properties, PW_KEY_NODE_DESCRIPTION);
            if (node.description.empty()) node.description = textOf(properties, PW_KEY_NODE_NICK);
            if (node.description.empty()) node.description = node.name;
            node.mediaClass = textOf(properties, PW_KEY_MEDIA_CLASS);
            node.mayBeUsed = PW_PERM_IS_R(permissions) && PW_PERM_IS_X(permissions);
            node.serial = ++lastSerial;
            nodes[id] = std::move(node);
        } else if (type == PW_TYPE_INTERFACE_Port) {
            const bool in = textOf(properties, PW_KEY_PORT_DIRECTION) == "in";
            ports[id] = {idOf(properties, PW_KEY_NODE_ID),
                         in ? PortDirection::in : PortDirection::out};
        } else if (type == PW_TYPE_INTERFACE_Link) {
            links[id] = {idOf(properties, PW_KEY_LINK_OUTPUT_NODE),
                         idOf(properties, PW_KEY_LINK_INPUT_NODE)};
        } else if (type == PW_TYPE_INTERFACE_Metadata &&
                   textOf(properties, PW_KEY_METADATA_NAME) == "default" && !defaults) {
            bindDefaults(id);
        }
    }

    void remove(std::uint32_t id) {
        shown.erase(id);
        nodes.erase(id);
        ports.erase(id);
        links.erase(id);
        if (id == defaultsID) {
            // The session manager is gone, and its choice with it; the devices may stay.
            defaults.reset();
            defaultsID = SPA_ID_INVALID;
            defaultNames.clear();
        }
    }

    void bindDefaults(std::uint32_t id) {
        static const pw_metadata_events metadataEvents = [] {
            pw_metadata_events handlers{};
            handlers.version = PW_VERSION_METADATA_EVENTS;
            handlers.property = onDefault;
            return handlers;
        }();
        defaults.reset(static_cast<pw_metadata*>(pw_registry_bind(
            registry.get(), id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0)));
        if (!defaults) return;
        defaultsID = id;
        defaultsListener = {};
        pw_metadata_add_listener(defaults.get(), &defaultsListener, &metadataEvents, this);
    }

    // Without a key every default is gone, without a value this one.
    void setDefault(const char* key, const char* value) {
        if (key == nullptr) {
            defaultNames.clear();
        } else if (value == nullptr) {
            defaultNames.erase(key);
        } else {
            defaultNames[key] = nameIn(value);
        }
    }

    static void onGlobal(void* data, std::uint32_t id, std::uint32_t permissions, const char* type,
                         std::uint32_t, const spa_dict* properties) {
        if (type == nullptr || properties == nullptr) return;
        auto& self = *static_cast<State*>(data);
        self.change([&] { self.add(id, permissions, type, *properties); });
    }
    static void onGlobalRemove(void* data, std::uint32_t id) {
        auto& self = *static_cast<State*>(data);
        self.change([&] { self.remove(id); });
    }
    static int onDefault(void* data, std::uint32_t subject, const char* key, const char*,
                         const char* value) {
        auto& self = *static_cast<State*>(data);
        if (subject == PW_ID_CORE) self.change([&] { self.setDefault(key, value); });
        return 0;
    }

    Connection& connection;
    Events events;
    std::unique_ptr<pw_registry, ProxyDeleter> registry;
    spa_hook registryListener{};
    std::unique_ptr<pw_metadata, ProxyDeleter> defaults;
    spa_hook defaultsListener{};
    std::uint32_t defaultsID = SPA_ID_INVALID;
    std::map<std::uint32_t, SoundNode> nodes;
    std::map<std::uint32_t, Port> ports;
    std::map<std::uint32_t, Link> links;
    std::map<std::string, std::string> defaultNames;
    std::set<std::uint32_t> shown;  // everything, of whatever type
    std::uint64_t lastSerial = 0;
};

SoundGraph::SoundGraph(Connection& connection, Events events)
    : state_(std::make_unique<State>(connection, std::move(events))) {
    static const pw_registry_events registryEvents = [] {
        pw_registry_events handlers{};
        handlers.version = PW_VERSION_REGISTRY_EVENTS;
        handlers.global = State::onGlobal;
        handlers.global_remove = State::onGlobalRemove;
        return handlers;
    }();
    state_->registry.reset(pw_core_get_registry(connection.core(), PW_VERSION_REGISTRY, 0));
    if (!state_->registry) throw pipeWireError(errno, "PipeWire could not list its devices.");
    pw_registry_add_listener(state_->registry.get(), &state_->registryListener, &registryEvents,
                             state_.get());
}

SoundGraph::~SoundGraph() = default;

const SoundNode* SoundGraph::node(std::uint32_t id) const {
    const auto found = state_->nodes.find(id);
    return found != state_->nodes.end() ? &found->second : nullptr;
}

const SoundNode* SoundGraph::sourceNamed(const std::string& name) const {
    for (const auto& [id, node] : state_->nodes) {
        if (node.isSource() && node.name == name) return &node;
    }
    return nullptr;
}

const SoundNode* SoundGraph::defaultSource() const {
    for (const char* key : {effectiveSource, chosenSource}) {
        const auto name = state_->defaultNames.find(key);
        if (name == state_->defaultNames.end()) continue;
        if (const SoundNode* source = sourceNamed(name->second)) return source;
    }
    return nullptr;
}

std::vector<const SoundNode*> SoundGraph::sources() const {
    std::vector<const SoundNode*> sources;
    for (const auto& [id, node] : state_->nodes) {
        // Internal ones are parts of a device whose other node is the one to choose.
        if (node.isSource() && node.mediaClass != "Audio/Source/Internal") sources.push_back(&node);
    }
    std::sort(sources.begin(), sources.end(), [](const SoundNode* left, const SoundNode* right) {
        return left->serial < right->serial;
    });
    return sources;
}

bool SoundGraph::isEmpty() const {
    return state_->shown.empty();
}

bool SoundGraph::hasSinks() const {
    for (const auto& [id, node] : state_->nodes) {
        if (node.isSink()) return true;
    }
    return false;
}

std::vector<const SoundNode*> SoundGraph::nodesOfClass(std::string_view mediaClass) const {
    std::vector<const SoundNode*> nodes;
    for (const auto& [id, node] : state_->nodes) {
        if (node.mediaClass.starts_with(mediaClass)) nodes.push_back(&node);
    }
    return nodes;
}

std::string SoundGraph::defaultName(const std::string& key) const {
    const auto found = state_->defaultNames.find(key);
    return found != state_->defaultNames.end() ? found->second : std::string();
}

bool SoundGraph::hasSessionManager() const {
    return state_->defaults != nullptr;
}

std::vector<std::uint32_t> SoundGraph::nodesLinkedInto(std::uint32_t id) const {
    std::vector<std::uint32_t> nodes;
    for (const auto& [linkID, link] : state_->links) {
        if (link.intoNode == id) nodes.push_back(link.fromNode);
    }
    return nodes;
}

std::optional<std::uint32_t> SoundGraph::anyPortOf(std::uint32_t nodeID,
                                                   PortDirection direction) const {
    for (const auto& [id, port] : state_->ports) {
        if (port.nodeID == nodeID && port.direction == direction) return id;
    }
    return std::nullopt;
}

pw_registry* SoundGraph::registry() const {
    return state_->registry.get();
}

}  // namespace quorvane::platform::pipewire
