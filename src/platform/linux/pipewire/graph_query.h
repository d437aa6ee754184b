// One look at what the sound server says of itself, without staying connected.
// Threads: any; signals are never taken by the thread that PipeWire adds for the call. Blocks for
// at most a second. Errors: none but the answer.
#pragma once

#include <functional>

namespace quorvane::platform::pipewire {

class SoundGraph;

enum class GraphAnswer {
    complete,
    unreachable,  // no server
    refused,      // there is one, and it will not have us
    late,         // there is one, and it does not answer in time
};

// Calls read with the whole graph, and only when the answer is complete.
GraphAnswer queryGraph(const std::function<void(const SoundGraph&)>& read);

}  // namespace quorvane::platform::pipewire
