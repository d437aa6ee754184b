#include "platform/linux/x11/window_picture.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <xcb/composite.h>
#include <xcb/shape.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/extensions.h"
#include "platform/linux/x11/pixel_format.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

// How long a program may take to draw its window again before the window is shown as far as it is.
constexpr std::chrono::nanoseconds drawingPatience = 400ms;

// Of the window and of all that contains it.
constexpr std::uint32_t windowEvents =
    XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;

const Connection& ready(const Connection& connection) {
    readyFixes(connection);
    readyComposite(connection);
    return connection;
}

}  // namespace

WindowPicture::WindowPicture(const Connection& connection, std::uint32_t window,
                             const support::Clock& clock)
    : connection_(ready(connection)),
      clock_(clock),
      window_(window),
      atoms_(connection),
      outside_(connection),
      undrawn_(connection) {
    if (connection.has(xcb_shape_id)) {
        shapeNoticeType_ = static_cast<std::uint8_t>(
            connection.extension(xcb_shape_id, "SHAPE").first_event + XCB_SHAPE_NOTIFY);
    }
    source_.keepsAspect = true;
    follow();
    source_.rect = frame_.seen.isEmpty() ? PixelRect{0, 0, 1, 1} : frame_.seen;
}

WindowPicture::~WindowPicture() {
    leave();
}

bool WindowPicture::handle(const Event& event) {
    if (damage_ && damage_->handle(event)) return true;
    if (watch_ && watch_->handle(event)) return true;
    if (shapeNoticeType_ != 0 && event.type == shapeNoticeType_) {
        const auto& notice = *static_cast<const xcb_shape_notify_event_t*>(event.record);
        shapeNoticed_ |= notice.affected_window == topLevel_;
        return true;
    }
    switch (event.type) {
        case XCB_DESTROY_NOTIFY: {
            const auto gone = static_cast<const xcb_destroy_notify_event_t*>(event.record)->window;
            closed_ |= gone == window_;
            parentNoticed_ = true;
            break;
        }
        case XCB_REPARENT_NOTIFY:
            parentNoticed_ = true;
            break;
        case XCB_UNMAP_NOTIFY:
            disappearanceNoticed_ = true;
            unmapNoticed_ |=
                static_cast<const xcb_unmap_notify_event_t*>(event.record)->window == topLevel_;
            break;
        case XCB_CONFIGURE_NOTIFY: {
            // Shifted within its frame, out of sight perhaps. What a manager sends says only where
            // on the screen it is.
            const auto& notice = *static_cast<const xcb_configure_notify_event_t*>(event.record);
            const bool isSent = (notice.response_type & 0x80) != 0;
            disappearanceNoticed_ |= notice.window != topLevel_ && !isSent;
            break;
        }
        case XCB_MAP_NOTIFY:
            break;
        case XCB_PROPERTY_NOTIFY: {
            const auto atom = static_cast<const xcb_property_notify_event_t*>(event.record)->atom;
            if (!atoms_.tellOf(atom)) return true;
            break;
        }
        default:
            return false;
    }
    structureNoticed_ = true;
    return true;
}

bool WindowPicture::check() {
    if (closed_) throwClosed();
    return false;
}

bool WindowPicture::noticed() const {
    return structureNoticed_ || shapeNoticed_ || (damage_ && damage_->noticed()) ||
           (isUndrawn_ && watch_ && watch_->noticed());
}

std::optional<support::MediaTime> WindowPicture::nextQuestion() const {
    const auto end = isUndrawn_ && watch_ ? watch_->end() : std::nullopt;
    return end && waitsUntil_ ? std::min(end, waitsUntil_) : waitsUntil_ ? waitsUntil_ : end;
}

void WindowPicture::follow() {
    structureNoticed_ = false;
    disappearanceNoticed_ = false;
    if (std::exchange(parentNoticed_, false)) {
        const std::uint32_t topLevel = topLevelOf(connection_, window_, windowEvents);
        if (topLevel == 0) throwClosed();
        if (topLevel != topLevel_) {
            leave();
            enter(topLevel);
        }
    }
    const auto frame = windowFrameOf(connection_, window_, topLevel_, atoms_);
    if (!frame) {
        // Its manager takes it out of its frame just now, or it is gone: both will be told.
        frame_.viewable = false;
        stopWaiting();
        return;
    }
    const WindowFrame before = std::exchange(frame_, *frame);
    source_.rootX = frame_.outer.x;
    source_.rootY = frame_.outer.y;
    if (!frame_.viewable) {
        // The last picture stands.
        ready_ |= source_.drawable == 0;
        newSource_ = false;
        entered_ = false;
        if (before.viewable) stopWaiting();
        if (!watch_) watch_.emplace(connection_, clock_, topLevel_);
        return;
    }
    // It may have gone and come back since the last look.
    const bool appeared = !before.viewable || unmapNoticed_;
    unmapNoticed_ = false;
    const bool resized = frame_.outer.width != before.outer.width ||
                         frame_.outer.height != before.outer.height ||
                         frame_.border != before.border;
    if (!appeared && !resized && frame_.seen == before.seen) return;
    if ((appeared || resized) && !nameThePicture()) {
        frame_.viewable = false;
        stopWaiting();
        return;
    }
    newSource_ = true;
    shapeNoticed_ = true;
    if (appeared) {
        // What is known from before it went says nothing of its new picture.
        if (before.viewable) stopWaiting();
        awaitDrawing();
    } else if (resized) {
        // Of one that is shown already, what is drawn of a new size comes as damage: waiting for it
        // would make every resizing jerk. A manager may unfold one step by step before it is shown.
        const bool waits = watch_.has_value();
        if (!waits || !before.showsWindow) stopWaiting();
        if (waits || !before.showsWindow) awaitRedrawing();
    }
}

void WindowPicture::beginWaiting() {
    isUndrawn_ = true;
    waitsUntil_ = clock_.hostTime() + drawingPatience;
}

void WindowPicture::stopWaiting() {
    isUndrawn_ = false;
    watch_.reset();
    waitsUntil_.reset();
}

// What of the window was not visible when it was redirected is drawn into it now, or all of it when
// it was mapped.
void WindowPicture::awaitDrawing() {
    const bool wasThere = std::exchange(entered_, false);
    if (wasThere && redirectedByOthers_) return;
    undrawn_.assign(inside());
    if (!wasThere) {
        if (!watch_) watch_.emplace(connection_, clock_, topLevel_);
        watch_->expectFromMapping(undrawn_);
    }
    undrawn_.moveBy(frame_.border, frame_.border);
    beginWaiting();
}

void WindowPicture::awaitRedrawing() {
    undrawn_.assign(inside());
    if (watch_) {
        watch_->expectFromResizing(undrawn_);
    } else {
        watch_.emplace(connection_, clock_, topLevel_);
        watch_->expectAnew(undrawn_);
    }
    beginWaiting();
}

PixelRect WindowPicture::inside() const {
    return {0, 0, frame_.outer.width - 2 * frame_.border, frame_.outer.height - 2 * frame_.border};
}

void WindowPicture::enter(std::uint32_t topLevel) {
    xcb_connection_t* xcb = connection_.xcb();
    topLevel_ = topLevel;
    frame_ = {};
    if (shapeNoticeType_ != 0) xcb_shape_select_input(xcb, topLevel, true);
    // Where somebody has redirected it already, all of it is drawn.
    const std::uint32_t probe = xcb_generate_id(xcb);
    const auto cookie = xcb_composite_name_window_pixmap_checked(xcb, topLevel, probe);
    const Reply<xcb_generic_error_t> refusal(xcb_request_check(xcb, cookie));
    redirectedByOthers_ = refusal == nullptr;
    entered_ = true;
    if (!refusal) xcb_free_pixmap(xcb, probe);
    // What is visible when the window is redirected stays, and the server tells what is drawn of
    // the rest. Nothing may cover it between the two.
    xcb_grab_server(xcb);
    try {
        damage_.emplace(connection_, topLevel, DamageTracker::Begin::withWhatIsVisible);
    } catch (const PlatformError&) {
        connection_.throwIfLost();
        // Gone already. Its end, or the window's new place, is told.
        parentNoticed_ = structureNoticed_ = true;
    }
    xcb_composite_redirect_window(xcb, topLevel, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_ungrab_server(xcb);
    xcb_flush(xcb);
}

void WindowPicture::leave() {
    if (topLevel_ == 0) return;
    xcb_connection_t* xcb = connection_.xcb();
    damage_.reset();
    stopWaiting();
    xcb_composite_unredirect_window(xcb, topLevel_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    if (shapeNoticeType_ != 0) xcb_shape_select_input(xcb, topLevel_, false);
    topLevel_ = 0;
    xcb_flush(xcb);
}

bool WindowPicture::nameThePicture() {
    xcb_connection_t* xcb = connection_.xcb();
    const std::uint32_t pixmap = xcb_generate_id(xcb);
    const auto cookie = xcb_composite_name_window_pixmap_checked(xcb, topLevel_, pixmap);
    const Reply<xcb_generic_error_t> refusal(xcb_request_check(xcb, cookie));
    connection_.throwIfLost();
    if (refusal) return false;  // it was unmapped meanwhile, which is told
    // The one before is kept until this one is shown.
    if (pixmap_ != 0 && pixmap_ != source_.drawable) xcb_free_pixmap(xcb, pixmap_);
    pixmap_ = pixmap;
    return true;
}

void WindowPicture::askForShape() {
    shapeNoticed_ = false;
    ServerRegion shape(connection_);
    shape.assignShapeOf(topLevel_);
    shape.moveBy(frame_.border, frame_.border);
    outside_.assign({0, 0, frame_.outer.width, frame_.outer.height});
    outside_.subtract(shape);
}

void WindowPicture::request() {
    if (structureNoticed_) follow();
    asksForDamage_ = damage_.has_value();
    if (asksForDamage_) damage_->request();
    asksForHidden_ = pixmap_ != 0 && frame_.viewable && (shapeNoticed_ || isUndrawn_ || newSource_);
    if (!asksForHidden_) {
        shapeNoticed_ = false;
        return;
    }
    if (shapeNoticed_) askForShape();
    if (isUndrawn_) findUndrawn();
    outsideRequest_ = outside_.requestRects();
    if (isUndrawn_) undrawnRequest_ = undrawn_.requestRects();
}

void WindowPicture::findUndrawn() {
    if (watch_ && watch_->end() && clock_.hostTime() >= *watch_->end()) {
        stopWaiting();
        return;
    }
    ServerRegion drawn(connection_);
    if (watch_) {
        watch_->update(drawn);
        undrawn_.assign(watch_->unpainted());
        undrawn_.moveBy(frame_.border, frame_.border);
    } else if (asksForDamage_) {
        drawn.assign(damage_->region());
        drawn.moveBy(frame_.border, frame_.border);
        undrawn_.subtract(drawn);
    }
    // Nothing is ever drawn outside of the shape.
    undrawn_.subtract(outside_);
}

void WindowPicture::receive(RectVisitor& visitor) {
    if (std::exchange(asksForDamage_, false)) {
        damage_->receive([&](const PixelRect& rect) {
            if (source_.drawable == pixmap_) visitor(rect.movedBy(frame_.border, frame_.border));
        });
    }
    if (!std::exchange(asksForHidden_, false)) return;
    hidden_.clear();
    const auto add = [&](const PixelRect& rect) { hidden_.push_back(rect); };
    RectVisitorOf hide(add);
    outside_.receiveRects(outsideRequest_, hide);
    if (isUndrawn_) {
        const std::size_t others = hidden_.size();
        undrawn_.receiveRects(undrawnRequest_, hide);
        isUndrawn_ = hidden_.size() > others;
        if (!isUndrawn_) watch_.reset();
    }
    if (isUndrawn_ && waitsUntil_ && clock_.hostTime() < *waitsUntil_) return;
    waitsUntil_.reset();
    if (!newSource_ && hidden_ == source_.hidden) return;
    if (frame_.showsWindow) {
        adopt();
    } else {
        // The last picture stands, or none.
        newSource_ = true;
        ready_ |= source_.drawable == 0;
    }
}

void WindowPicture::adopt() {
    if (source_.drawable != 0 && source_.drawable != pixmap_) {
        xcb_free_pixmap(connection_.xcb(), source_.drawable);
    }
    ++source_.version;
    source_.drawable = pixmap_;
    source_.rect = frame_.seen;
    source_.existing = frame_.seen;
    source_.hidden = hidden_;
    source_.format = pixelFormatOf(connection_, frame_.visual);
    newSource_ = false;
    ready_ = true;
}

void WindowPicture::throwClosed() const {
    throw x11Error(Failure::windowClosed, "The window that is being recorded was closed.");
}

}  // namespace quorvane::platform::x11
