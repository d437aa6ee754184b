// What a sound server says of itself: its nodes, their ports, the links between them and the
// defaults that the user chose.
// Threads: the connection's. Errors: none; an object that cannot be read is not there.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct pw_registry;

namespace quorvane::platform::pipewire {

class Connection;

enum class PortDirection { in, out };

struct SoundNode {
    std::uint32_t id = 0;
    std::string name;  // stays the same when a device comes back
    std::string description;
    std::string mediaClass;
    bool mayBeUsed = false;    // the server lets us see it and call it
    std::uint64_t serial = 0;  // ascending in the order in which the server told of them

    // A microphone or the like; the monitor of a speaker is none.
    bool isSource() const;
    bool isSink() const;
};

class SoundGraph {
  public:
    // Called before and after every change that the server tells of.
    struct Events {
        std::function<void()> willChange;
        std::function<void()> didChange;
    };

    // What is there already is known when a sync() that follows is answered, and the defaults
    // after one more.
    SoundGraph(Connection& connection, Events events);
    ~SoundGraph();
    SoundGraph(const SoundGraph&) = delete;
    SoundGraph& operator=(const SoundGraph&) = delete;

    const SoundNode* node(std::uint32_t id) const;
    // The first source of this name.
    const SoundNode* sourceNamed(const std::string& name) const;
    // The source that is the default now, or else the one that the user chose as it; null when
    // neither is there.
    const SoundNode* defaultSource() const;
    // The sources that users choose from, in the order in which the server told of them.
    std::vector<const SoundNode*> sources() const;
    // Whether the server shows anything at all.
    bool isEmpty() const;
    bool hasSinks() const;
    // Every node whose media class begins so, by their numbers.
    std::vector<const SoundNode*> nodesOfClass(std::string_view mediaClass) const;
    // The name of the node that is that default, for example "default.video.source"; empty when
    // nobody has said.
    std::string defaultName(const std::string& key) const;
    // Whether somebody is there who links streams to devices and keeps the defaults.
    bool hasSessionManager() const;
    // The nodes whose sound is linked into the node, one entry a link.
    std::vector<std::uint32_t> nodesLinkedInto(std::uint32_t id) const;
    std::optional<std::uint32_t> anyPortOf(std::uint32_t nodeID, PortDirection direction) const;

    pw_registry* registry() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::pipewire
