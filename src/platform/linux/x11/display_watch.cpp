#include "platform/linux/x11/display_watch.h"

#include <algorithm>

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/monitors.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {

DisplayWatch::DisplayWatch(const Connection& connection, const Display& display,
                           const PixelRect& existing, std::uint32_t furtherRootEvents)
    : connection_(connection),
      display_(display),
      existing_(existing),
      noticeType_(connection.extension(xcb_randr_id, "RANDR").first_event) {
    xcb_connection_t* xcb = connection.xcb();
    // Select first, look then: a change between the two is noticed.
    const auto randrCookie = xcb_randr_select_input_checked(
        xcb, connection.root(),
        XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
            XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    throwIfRefused(xcb, randrCookie.sequence, "report changes of its displays");
    // Monitors that a user defines are told of by the root window's configuration only.
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | furtherRootEvents;
    const auto rootCookie =
        xcb_change_window_attributes_checked(xcb, connection.root(), XCB_CW_EVENT_MASK, &mask);
    throwIfRefused(xcb, rootCookie.sequence, "report changes of its screen");
    check();
}

bool DisplayWatch::handle(const Event& event) {
    const bool ofRoot = event.type == XCB_CONFIGURE_NOTIFY &&
                        static_cast<const xcb_configure_notify_event_t*>(event.record)->window ==
                            connection_.root();
    if (!ofRoot && event.type != noticeType_ && event.type != noticeType_ + XCB_RANDR_NOTIFY) {
        return false;
    }
    noticed_ = true;
    return true;
}

bool DisplayWatch::check() {
    if (!noticed_) return false;
    noticed_ = false;
    xcb_connection_t* xcb = connection_.xcb();
    const auto rootCookie = xcb_get_geometry(xcb, connection_.root());
    const Monitors monitors = listMonitors(connection_);
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_get_geometry_reply_t> root(xcb_get_geometry_reply(xcb, rootCookie, &error));
    if (!root) throwMissingReply(error, "tell the size of its screen");

    const auto found =
        std::find_if(monitors.displays.begin(), monitors.displays.end(),
                     [&](const Display& other) { return other.displayID == display_.displayID; });
    if (found == monitors.displays.end()) {
        throw x11Error(Failure::displayDisconnected,
                       "The display that is being recorded was disconnected.");
    }
    const bool onRoot =
        existing_.isEmpty() || PixelRect{0, 0, root->width, root->height}.contains(existing_);
    if (found->frame != display_.frame || !onRoot) {
        throw x11Error(Failure::displayChanged,
                       "The display that is being recorded changed its size or position.");
    }
    return true;
}

}  // namespace quorvane::platform::x11
