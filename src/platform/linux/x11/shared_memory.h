// Memory for pixels that client and server share.
// Threads: the connection's. Errors: PlatformError when the system has none left.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/linux/x11/connection.h"

namespace quorvane::platform::x11 {

class SharedMemory {
  public:
    // Null when the server cannot attach memory of ours. Waits for the server.
    static std::unique_ptr<SharedMemory> make(const Connection& connection, std::size_t bytes);
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;
    // Before the connection's end.
    ~SharedMemory();

    std::uint32_t segment() const { return segment_; }
    std::uint32_t* at(std::size_t offset) const {
        return reinterpret_cast<std::uint32_t*>(static_cast<std::byte*>(memory_) + offset);
    }

  private:
    SharedMemory(xcb_connection_t* xcb, std::uint32_t segment, void* memory, std::size_t bytes)
        : xcb_(xcb), segment_(segment), memory_(memory), bytes_(bytes) {}

    xcb_connection_t* xcb_;
    std::uint32_t segment_;
    void* memory_;
    std::size_t bytes_;
};

}  // namespace quorvane::platform::x11
