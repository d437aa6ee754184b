#include "platform/linux/x11/atoms.h"

#include <xcb/xcb.h>

#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {

std::vector<std::uint32_t> atomsOf(const Connection& connection,
                                   std::span<const std::string> names) {
    xcb_connection_t* xcb = connection.xcb();
    std::vector<xcb_intern_atom_cookie_t> cookies;
    for (const std::string& name : names) {
        cookies.push_back(
            xcb_intern_atom(xcb, false, static_cast<std::uint16_t>(name.size()), name.data()));
    }
    std::vector<std::uint32_t> atoms;
    for (const auto& cookie : cookies) {
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(xcb, cookie, &error));
        if (!reply) throwMissingReply(error, "number a name");
        atoms.push_back(reply->atom);
    }
    return atoms;
}

std::uint32_t atomOf(const Connection& connection, const std::string& name) {
    return atomsOf(connection, {&name, 1}).front();
}

}  // namespace quorvane::platform::x11
