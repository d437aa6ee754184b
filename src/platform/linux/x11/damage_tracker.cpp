#include "platform/linux/x11/damage_tracker.h"

#include <xcb/damage.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/extensions.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

const Connection& ready(const Connection& connection) {
    readyDamage(connection);
    readyFixes(connection);
    return connection;
}

}  // namespace

DamageTracker::DamageTracker(const Connection& connection, std::uint32_t window, Begin begin)
    : connection_(ready(connection)),
      noticeType_(static_cast<std::uint8_t>(
          connection.extension(xcb_damage_id, "DAMAGE").first_event + XCB_DAMAGE_NOTIFY)),
      damage_(xcb_generate_id(connection.xcb())),
      region_(connection) {
    xcb_connection_t* xcb = connection.xcb();
    const auto createCookie =
        xcb_damage_create_checked(xcb, damage_, window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    throwIfRefused(xcb, createCookie.sequence, "report drawing");
    if (begin == Begin::withWhatIsVisible) return;
    // A window's damage begins as all of it that is visible.
    const auto subtractCookie = xcb_damage_subtract_checked(xcb, damage_, XCB_NONE, XCB_NONE);
    throwIfRefused(xcb, subtractCookie.sequence, "reset its report of drawing");
}

DamageTracker::~DamageTracker() {
    xcb_damage_destroy(connection_.xcb(), damage_);
}

bool DamageTracker::handle(const Event& event) {
    if (event.type != noticeType_) return false;
    if (static_cast<const xcb_damage_notify_event_t*>(event.record)->damage != damage_)
        return false;
    noticed_ = true;
    return true;
}

void DamageTracker::request() {
    xcb_damage_subtract(connection_.xcb(), damage_, XCB_NONE, region_.id());
    requestSequence_ = region_.requestRects();
    noticed_ = false;
}

}  // namespace quorvane::platform::x11
