// Reads the full properties of a node or a device; the registry tells only some of them.
// Threads: the connection's. Errors: none; an object that cannot be read has no properties.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

struct pw_registry;

namespace quorvane::platform::pipewire {

class Connection;

class ObjectProperties {
  public:
    enum class Kind { node, device };

    // The properties are known when a sync() that follows is answered.
    ObjectProperties(Connection& connection, pw_registry* registry, Kind kind, std::uint32_t id);
    ~ObjectProperties();
    ObjectProperties(const ObjectProperties&) = delete;
    ObjectProperties& operator=(const ObjectProperties&) = delete;

    // Empty when there is no such property.
    std::string operator[](const std::string& key) const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::pipewire
