// Which process a window belongs to: the one at the other end of the connection that made it.
// Why not by what a window says of itself (_NET_WM_PID) where the server can be asked: programs
// leave it out, and those in containers and on other hosts give numbers that mean nothing here.
// Threads: the connection's. Errors: PlatformError when the connection is lost.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/linux/x11/connection.h"

namespace quorvane::platform::x11 {

class WindowOwners {
  public:
    explicit WindowOwners(const Connection& connection);

    // A process a window, in their order; 0 for one that is not known. Waits for the server once.
    std::vector<std::int32_t> processesOf(std::span<const std::uint32_t> windows) const;

  private:
    std::vector<std::int32_t> byConnection(std::span<const std::uint32_t> windows) const;
    std::vector<std::int32_t> byProperty(std::span<const std::uint32_t> windows) const;

    const Connection& connection_;
    bool serverKnows_ = false;
    std::uint32_t processAtom_ = 0;
};

}  // namespace quorvane::platform::x11
