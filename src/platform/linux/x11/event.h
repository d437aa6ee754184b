// An event as the server sent it.
#pragma once

#include <cstdint>

namespace quorvane::platform::x11 {

struct Event {
    std::uint8_t type;   // without the mark of events that a client has sent
    const void* record;  // XCB's record of that type of event
};

}  // namespace quorvane::platform::x11
