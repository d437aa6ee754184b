#include "platform/linux/x11/connection.h"

#include <sys/socket.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {

void Connection::Disconnect::operator()(xcb_connection_t* connection) const noexcept {
    xcb_disconnect(connection);
}

Connection::Connection(const std::string& displayName) {
    int number = 0;
    connection_.reset(xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), &number));
    if (const int code = xcb_connection_has_error(xcb()); code != 0) {
        throw connectionError(code, displayName);
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(xcb()));
    for (int left = number; left > 0 && screens.rem > 1; --left)
        xcb_screen_next(&screens);
    screen_ = screens.data;
    screenNumber_ = number;
}

std::uint32_t Connection::root() const {
    return screen_->root;
}

int Connection::descriptor() const {
    return xcb_get_file_descriptor(xcb());
}

bool Connection::isLocal() const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    return getsockname(descriptor(), reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
           address.ss_family == AF_UNIX;
}

const xcb_query_extension_reply_t& Connection::extension(xcb_extension_t& id,
                                                         const char* name) const {
    throwIfLost();
    const xcb_query_extension_reply_t* reply = xcb_get_extension_data(xcb(), &id);
    if (reply == nullptr) throwMissingReply(nullptr, "list its extensions");
    if (!reply->present) {
        throw x11Error(Failure::extensionMissing,
                       std::string("The X server lacks the ") + name + " extension.");
    }
    return *reply;
}

bool Connection::has(xcb_extension_t& id) const {
    const xcb_query_extension_reply_t* reply = xcb_get_extension_data(xcb(), &id);
    return reply != nullptr && reply->present;
}

void Connection::throwIfLost() const {
    if (xcb_connection_has_error(xcb()) != 0) throwMissingReply(nullptr, "answer");
}

}  // namespace quorvane::platform::x11
