// The adapter's failures. Their domain is "X11"; the code is the X protocol's error code, the
// connection's, or one of ours, which begin above both.
#pragma once

#include <cstdint>
#include <string>

#include "platform/platform_error.h"

struct xcb_connection_t;

namespace quorvane::platform::x11 {

enum class Failure : std::int64_t {
    serverSilent = 1001,
    stoppedWhileStarting = 1002,
    extensionMissing = 1003,
    unsupportedPixels = 1004,
    unsupportedContent = 1005,
    regionTooLarge = 1006,
    displayDisconnected = 1007,
    displayChanged = 1008,
    connectionLost = 1009,
    windowClosed = 1010,
    windowDestroyed = 1011,
};

PlatformError x11Error(Failure failure, std::string description);

// The connection to that display (empty: the environment's) could not be made; the code is what
// XCB's connection says.
PlatformError connectionError(int code, const std::string& displayName);

// Waits for the server to have done a checked request, known by its cookie's sequence number.
// Throws when it has not ("The X server refused to <doing>").
void throwIfRefused(xcb_connection_t* connection, unsigned sequence, const std::string& doing);

// Throws for a reply that did not come: the request's error, which XCB allocated and this frees, or
// (null) the loss of the connection.
[[noreturn]] void throwMissingReply(void* error, const std::string& doing);

}  // namespace quorvane::platform::x11
