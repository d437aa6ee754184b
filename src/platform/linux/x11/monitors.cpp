#include "platform/linux/x11/monitors.h"

#include <string>

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/display_ids.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

std::string nameFrom(xcb_connection_t* connection, xcb_get_atom_name_cookie_t cookie) {
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_get_atom_name_reply_t> reply(
        xcb_get_atom_name_reply(connection, cookie, &error));
    if (!reply) throwMissingReply(error, "tell the name of a display");
    return {xcb_get_atom_name_name(reply.get()),
            static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))};
}

}  // namespace

Monitors listMonitors(const Connection& connection) {
    xcb_connection_t* xcb = connection.xcb();
    connection.extension(xcb_randr_id, "RANDR");
    const auto versionCookie = xcb_randr_query_version(xcb, 1, 5);
    const auto monitorsCookie = xcb_randr_get_monitors(xcb, connection.root(), true);

    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_randr_query_version_reply_t> version(
        xcb_randr_query_version_reply(xcb, versionCookie, &error));
    if (!version || version->major_version < 1 ||
        (version->major_version == 1 && version->minor_version < 5)) {
        xcb_discard_reply(xcb, monitorsCookie.sequence);
        if (!version) throwMissingReply(error, "tell its RANDR version");
        throw x11Error(Failure::extensionMissing,
                       "The X server's RANDR extension is older than 1.5.");
    }
    const Reply<xcb_randr_get_monitors_reply_t> reply(
        xcb_randr_get_monitors_reply(xcb, monitorsCookie, &error));
    if (!reply) throwMissingReply(error, "list its displays");

    Monitors result;
    std::vector<xcb_get_atom_name_cookie_t> nameCookies;
    std::size_t primary = 0;
    auto monitors = xcb_randr_get_monitors_monitors_iterator(reply.get());
    for (; monitors.rem > 0; xcb_randr_monitor_info_next(&monitors)) {
        const xcb_randr_monitor_info_t& monitor = *monitors.data;
        if (monitor.primary) primary = result.displays.size();
        nameCookies.push_back(xcb_get_atom_name(xcb, monitor.name));
        const support::Rect frame{static_cast<double>(monitor.x), static_cast<double>(monitor.y),
                                  static_cast<double>(monitor.width),
                                  static_cast<double>(monitor.height)};
        result.displays.push_back({0, monitor.width, monitor.height, frame});
    }

    std::vector<std::string> names;
    names.reserve(nameCookies.size());
    for (const auto& cookie : nameCookies)
        names.push_back(nameFrom(xcb, cookie));
    const auto ids = displayIDsOf(names);
    for (std::size_t i = 0; i < ids.size(); ++i)
        result.displays[i].displayID = ids[i];
    if (!ids.empty()) result.mainDisplayID = ids[primary];
    return result;
}

}  // namespace quorvane::platform::x11
