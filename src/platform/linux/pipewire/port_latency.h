// How long sound needs from a port to the end of its path, as the server says and keeps saying.
// Why: the monitor of a speaker has the sound before the speaker plays it, later by the speaker's
// latency; a Bluetooth headset's is a fifth of a second.
// Threads: the connection's. Errors: none; a port that says nothing has no latency.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace quorvane::platform::pipewire {

class Connection;
class SoundGraph;
enum class PortDirection;

class PortLatency {
  public:
    // The three parts are added up: cycles of the graph, sample frames of the graph, time.
    struct Value {
        double cycles = 0;
        double frames = 0;
        std::chrono::nanoseconds time{0};

        std::chrono::nanoseconds in(std::chrono::nanoseconds cycle, int graphRate) const;
    };

    // Of sound that enters (in) or leaves (out) the port. A sync() after the construction is
    // answered after the first value is known. willChange comes before a value is replaced.
    PortLatency(Connection& connection, const SoundGraph& graph, std::uint32_t portID,
                PortDirection direction, std::function<void()> willChange);
    ~PortLatency();
    PortLatency(const PortLatency&) = delete;
    PortLatency& operator=(const PortLatency&) = delete;

    const Value& value() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::pipewire
