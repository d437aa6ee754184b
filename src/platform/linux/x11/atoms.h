// The server's numbers for names.
// Threads: the connection's. Errors: PlatformError.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/linux/x11/connection.h"

namespace quorvane::platform::x11 {

// In the names' order. Waits for the server once.
std::vector<std::uint32_t> atomsOf(const Connection& connection,
                                   std::span<const std::string> names);
std::uint32_t atomOf(const Connection& connection, const std::string& name);

}  // namespace quorvane::platform::x11
