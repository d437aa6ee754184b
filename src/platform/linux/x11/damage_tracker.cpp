#include "platform/linux/x11/damage_tracker.h"

#include <xcb/damage.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {

DamageTracker::DamageTracker(const Connection& connection) : connection_(connection) {
    xcb_connection_t* xcb = connection.xcb();
    noticeType_ = static_cast<std::uint8_t>(
        connection.extension(xcb_damage_id, "DAMAGE").first_event + XCB_DAMAGE_NOTIFY);
    connection.extension(xcb_xfixes_id, "XFIXES");
    // The server serves an extension's requests only to clients that have told their version.
    const auto damageCookie = xcb_damage_query_version(xcb, 1, 1);
    const auto fixesCookie = xcb_xfixes_query_version(xcb, 4, 0);
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_damage_query_version_reply_t> damageVersion(
        xcb_damage_query_version_reply(xcb, damageCookie, &error));
    if (!damageVersion) throwMissingReply(error, "tell its DAMAGE version");
    const Reply<xcb_xfixes_query_version_reply_t> fixesVersion(
        xcb_xfixes_query_version_reply(xcb, fixesCookie, &error));
    if (!fixesVersion) throwMissingReply(error, "tell its XFIXES version");

    region_ = xcb_generate_id(xcb);
    damage_ = xcb_generate_id(xcb);
    const auto regionCookie = xcb_xfixes_create_region_checked(xcb, region_, 0, nullptr);
    const auto createCookie = xcb_damage_create_checked(xcb, damage_, connection.root(),
                                                        XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    // A window's damage begins as all of it.
    const auto subtractCookie = xcb_damage_subtract_checked(xcb, damage_, XCB_NONE, XCB_NONE);
    throwIfRefused(xcb, regionCookie.sequence, "create a region");
    throwIfRefused(xcb, createCookie.sequence, "report drawing");
    throwIfRefused(xcb, subtractCookie.sequence, "reset its report of drawing");
}

bool DamageTracker::handle(const Event& event) {
    if (event.type != noticeType_) return false;
    noticed_ = true;
    return true;
}

void DamageTracker::request() {
    xcb_connection_t* xcb = connection_.xcb();
    xcb_damage_subtract(xcb, damage_, XCB_NONE, region_);
    requestSequence_ = xcb_xfixes_fetch_region(xcb, region_).sequence;
    noticed_ = false;
}

void DamageTracker::receiveRects(RectVisitor& visitor) {
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_xfixes_fetch_region_reply_t> reply(
        xcb_xfixes_fetch_region_reply(connection_.xcb(), {requestSequence_}, &error));
    if (!reply) throwMissingReply(error, "tell what was drawn");
    const xcb_rectangle_t* rects = xcb_xfixes_fetch_region_rectangles(reply.get());
    const int count = xcb_xfixes_fetch_region_rectangles_length(reply.get());
    for (int i = 0; i < count; ++i) {
        visitor({rects[i].x, rects[i].y, rects[i].width, rects[i].height});
    }
}

}  // namespace quorvane::platform::x11
