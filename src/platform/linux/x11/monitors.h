// The displays of an X server: RandR's monitors.
// Threads: the connection's. Errors: PlatformError.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/x11/connection.h"
#include "platform/shareable_content.h"

namespace quorvane::platform::x11 {

struct Monitors {
    std::vector<Display> displays;    // in RandR's order
    std::uint32_t mainDisplayID = 0;  // the primary monitor, else the first; 0 when there is none
};

// Waits for the server twice, for the monitors and for their names.
Monitors listMonitors(const Connection& connection);

}  // namespace quorvane::platform::x11
