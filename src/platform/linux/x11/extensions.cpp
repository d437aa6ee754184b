#include "platform/linux/x11/extensions.h"

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/render.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {

void readyDamage(const Connection& connection) {
    connection.extension(xcb_damage_id, "DAMAGE");
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_damage_query_version_reply_t> version(xcb_damage_query_version_reply(
        connection.xcb(), xcb_damage_query_version(connection.xcb(), 1, 1), &error));
    if (!version) throwMissingReply(error, "tell its DAMAGE version");
}

void readyFixes(const Connection& connection) {
    connection.extension(xcb_xfixes_id, "XFIXES");
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
        connection.xcb(), xcb_xfixes_query_version(connection.xcb(), 4, 0), &error));
    if (!version) throwMissingReply(error, "tell its XFIXES version");
}

void readyComposite(const Connection& connection) {
    connection.extension(xcb_composite_id, "Composite");
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_composite_query_version_reply_t> version(xcb_composite_query_version_reply(
        connection.xcb(), xcb_composite_query_version(connection.xcb(), 0, 4), &error));
    if (!version) throwMissingReply(error, "tell its Composite version");
}

void readyRender(const Connection& connection) {
    connection.extension(xcb_render_id, "RENDER");
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_render_query_version_reply_t> version(xcb_render_query_version_reply(
        connection.xcb(), xcb_render_query_version(connection.xcb(), 0, 11), &error));
    if (!version) throwMissingReply(error, "tell its RENDER version");
}

}  // namespace quorvane::platform::x11
