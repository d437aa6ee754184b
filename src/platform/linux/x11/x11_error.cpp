#include "platform/linux/x11/x11_error.h"

#include <cstdlib>

#include <xcb/xcb.h>

#include "platform/linux/x11/reply.h"

namespace quorvane::platform::x11 {

PlatformError x11Error(Failure failure, std::string description) {
    return {"X11", static_cast<std::int64_t>(failure), std::move(description)};
}

PlatformError connectionError(int code, const std::string& displayName) {
    const char* variable = std::getenv("DISPLAY");
    const std::string name = !displayName.empty() ? displayName : variable ? variable : "";
    if (name.empty()) {
        return {"X11", code, "There is no X server: DISPLAY is not set."};
    }
    if (code == XCB_CONN_CLOSED_PARSE_ERR) {
        return {"X11", code, "\"" + name + "\" does not name an X display."};
    }
    if (code == XCB_CONN_CLOSED_INVALID_SCREEN) {
        return {"X11", code, "The X server has no screen " + name + "."};
    }
    return {"X11", code, "Could not connect to the X server " + name + "."};
}

namespace {

[[noreturn]] void throwRefusal(Reply<xcb_generic_error_t> owned, const std::string& doing) {
    throw PlatformError("X11", owned->error_code,
                        "The X server refused to " + doing + " (request " +
                            std::to_string(owned->major_code) + "." +
                            std::to_string(owned->minor_code) + ").");
}

}  // namespace

void throwIfRefused(xcb_connection_t* connection, unsigned sequence, const std::string& doing) {
    Reply<xcb_generic_error_t> error(xcb_request_check(connection, {sequence}));
    if (error) throwRefusal(std::move(error), doing);
}

void throwMissingReply(void* error, const std::string& doing) {
    if (error != nullptr) {
        throwRefusal(Reply<xcb_generic_error_t>(static_cast<xcb_generic_error_t*>(error)), doing);
    }
    throw x11Error(Failure::connectionLost, "The connection to the X server was lost.");
}

}  // namespace quorvane::platform::x11
