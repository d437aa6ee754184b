#include "platform/linux/x11/excluding_picture.h"

#include <utility>

#include <xcb/xcb.h>

#include "platform/linux/x11/application_picture.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/window_frame.h"
#include "platform/linux/x11/window_stack.h"

namespace quorvane::platform::x11 {

ExcludingPicture::ExcludingPicture(const Connection& connection, const Display& display,
                                   const support::Rect& sourceRect,
                                   std::vector<std::uint32_t> windows, const support::Clock& clock)
    : connection_(connection),
      windows_(std::move(windows)),
      clock_(clock),
      display_(connection, display, sourceRect, ComposedPicture::rootEvents),
      source_(display_.source()) {
    findWindows();
}

bool ExcludingPicture::handle(const Event& event) {
    switch (event.type) {
        case XCB_REPARENT_NOTIFY:
        case XCB_MAP_NOTIFY:
            appearanceNoticed_ = true;
            windowsNoticed_ = true;
            break;
        case XCB_UNMAP_NOTIFY:
        case XCB_DESTROY_NOTIFY:
            windowsNoticed_ = true;
            break;
        default:
            break;
    }
    const bool ofDisplay = display_.handle(event);
    return (composed_ && composed_->handle(event)) || ofDisplay;
}

bool ExcludingPicture::noticed() const {
    return windowsNoticed_ || (composes_ ? composed_->noticed() : display_.noticed());
}

std::optional<support::MediaTime> ExcludingPicture::nextQuestion() const {
    return composes_ ? composed_->nextQuestion() : std::nullopt;
}

void ExcludingPicture::findWindows() {
    windowsNoticed_ = false;
    xcb_connection_t* xcb = connection_.xcb();
    std::vector<std::uint32_t> found;
    for (const std::uint32_t window : windows_) {
        const std::uint32_t topLevel = topLevelOf(connection_, window, WindowStack::windowEvents);
        if (topLevel == 0) continue;
        const Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
            xcb, xcb_get_window_attributes(xcb, topLevel), nullptr));
        if (attributes && attributes->map_state != XCB_MAP_STATE_UNMAPPED) {
            found.push_back(topLevel);
        }
    }
    connection_.throwIfLost();
    if (found == topLevels_) return;
    topLevels_ = std::move(found);
    // A window that has gone stays on the screen until the compositing manager paints that anew.
    const bool mayLinger = composes_ && composed_->compositingManagerRuns();
    useComposed((!topLevels_.empty() || mayLinger) && !display_.source().existing.isEmpty());
}

void ExcludingPicture::useComposed(bool composes) {
    if (composes && !composed_) {
        composed_.emplace(connection_, display_.source().existing, std::vector<std::int32_t>{},
                          clock_);
    }
    if (composed_) composed_->exclude(topLevels_);
    if (composes == composes_) return;
    composes_ = composes;
    if (!composes) composed_->pause();
    const unsigned version = source_.version + 1;
    source_ = composes ? composedSource(display_.source(), *composed_) : display_.source();
    source_.version = version;
}

void ExcludingPicture::request() {
    appearanceNoticed_ = false;
    if (windowsNoticed_) findWindows();
    if (composes_) {
        composed_->request();
    } else {
        display_.request();
    }
}

void ExcludingPicture::receive(RectVisitor& visitor) {
    if (composes_) {
        composed_->receive(visitor);
    } else {
        display_.receive(visitor);
    }
}

}  // namespace quorvane::platform::x11
