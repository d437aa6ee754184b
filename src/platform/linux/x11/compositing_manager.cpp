#include "platform/linux/x11/compositing_manager.h"

#include <string>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include "platform/linux/x11/atoms.h"
#include "platform/linux/x11/extensions.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {

CompositingManager::CompositingManager(const Connection& connection)
    : selection_(atomOf(connection, "_NET_WM_CM_S" + std::to_string(connection.screenNumber()))),
      noticeType_(
          static_cast<std::uint8_t>(connection.extension(xcb_xfixes_id, "XFIXES").first_event +
                                    XCB_XFIXES_SELECTION_NOTIFY)) {
    xcb_connection_t* xcb = connection.xcb();
    readyFixes(connection);
    // Select first, look then.
    xcb_xfixes_select_selection_input(xcb, connection.root(), selection_,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(xcb, xcb_get_selection_owner(xcb, selection_), &error));
    if (!reply) throwMissingReply(error, "tell of the compositing manager");
    owner_ = reply->owner;
}

bool CompositingManager::handle(const Event& event) {
    if (event.type != noticeType_) return false;
    const auto& notice = *static_cast<const xcb_xfixes_selection_notify_event_t*>(event.record);
    if (notice.selection != selection_) return false;
    owner_ = notice.subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER ? notice.owner : 0;
    return true;
}

}  // namespace quorvane::platform::x11
