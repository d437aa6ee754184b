// One capture stream of PipeWire: 48 kHz, stereo, interleaved float32, whatever the device has.
// Threads: the connection's, except that PipeWire's data thread fills the ring.
// Errors: the constructor throws PlatformError; a stream that fails later says so by hasFailed().
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/linux/pipewire/cycle_ring.h"

namespace quorvane::platform::pipewire {

class Connection;

// What is to be heard.
struct SoundTarget {
    enum class Kind { systemAudio, microphone };

    Kind kind = Kind::systemAudio;
    // The microphone's node.name; nothing for the default one.
    std::optional<std::string> deviceID;
};

class SoundStream {
  public:
    // onChange is called when the stream is known to the server and when it failed.
    SoundStream(Connection& connection, const SoundTarget& target, std::function<void()> onChange);
    ~SoundStream();
    SoundStream(const SoundStream&) = delete;
    SoundStream& operator=(const SoundStream&) = delete;

    // What was captured and not read yet. The connection is woken whenever there is more.
    CycleRing& ring();
    // Nothing until the server knows the stream.
    std::optional<std::uint32_t> nodeID() const;
    // The stream is of no use any more, for example because its device went away.
    bool hasFailed() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::pipewire
