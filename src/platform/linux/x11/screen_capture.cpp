#include "platform/linux/x11/screen_capture.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include <poll.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/monitors.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

// When what was noticed is not in the region (another display moves), the next look waits a
// little: a look costs two context switches, and a change in the region is still seen soon enough.
constexpr std::chrono::nanoseconds afterALookInVain = 3ms;

// The pointer is asked for no more often than this, whatever the frame rate.
constexpr std::chrono::nanoseconds leastQuestionInterval = 10ms;

// A region of this many pixels needs 200 MB for one picture.
constexpr std::int64_t mostPixels = 128ll << 20;

PixelRect pixelRectOf(const support::Rect& rect) {
    return {static_cast<int>(rect.x), static_cast<int>(rect.y), static_cast<int>(rect.width),
            static_cast<int>(rect.height)};
}

CaptureGeometry checkedGeometry(const Connection& connection, const Display& display,
                                const StreamConfiguration& configuration) {
    const xcb_screen_t& screen = connection.screen();
    const CaptureGeometry geometry = captureGeometryOf(
        configuration.sourceRect, pixelRectOf(display.frame), screen.width_in_pixels,
        screen.height_in_pixels, configuration.width, configuration.height);
    if (geometry.source.area() > mostPixels) {
        throw x11Error(Failure::regionTooLarge, "The region is too large to be recorded.");
    }
    return geometry;
}

}  // namespace

ScreenCapture::ScreenCapture(const Connection& connection, const Display& display,
                             const StreamConfiguration& configuration, const support::Clock& clock,
                             std::shared_ptr<Wakeup> wakeup)
    : connection_(connection),
      display_(display),
      clock_(clock),
      wakeup_(std::move(wakeup)),
      geometry_(checkedGeometry(connection, display, configuration)),
      format_(rootPixelFormat(connection)),
      damage_(connection),
      pacer_(configuration.minimumFrameInterval) {
    xcb_connection_t* xcb = connection.xcb();
    layoutNoticeType_ = connection.extension(xcb_randr_id, "RANDR").first_event;
    // Select first, look then: a change between the two is noticed.
    const auto randrCookie = xcb_randr_select_input_checked(
        xcb, connection.root(),
        XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
            XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    throwIfRefused(xcb, randrCookie.sequence, "report changes of its displays");
    // Monitors that a user defines are told of by the root window's configuration only.
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    const auto rootCookie =
        xcb_change_window_attributes_checked(xcb, connection.root(), XCB_CW_EVENT_MASK, &mask);
    throwIfRefused(xcb, rootCookie.sequence, "report changes of its screen");
    throwIfLayoutChanged();

    if (configuration.showsCursor) {
        cursor_.emplace(connection,
                        std::max(configuration.minimumFrameInterval, leastQuestionInterval));
    }
    grabber_ = makePixelGrabber(connection, static_cast<std::size_t>(geometry_.drawn.area()),
                                StaleRegion::maximumRects);
    pool_ =
        PicturePool::make(configuration.width, configuration.height, geometry_.drawn,
                          static_cast<std::size_t>(std::max(configuration.queueDepth, 1)), wakeup_);
    if (geometry_.scaled) {
        staging_.emplace(Staging{pixels::I420Image(geometry_.source.width, geometry_.source.height),
                                 StaleRegion(geometry_.drawn)});
    }
    if (staging_) staging_->image.fillBlack();
    requests_.reserve(StaleRegion::maximumRects);
    addStale(geometry_.source);
}

void ScreenCapture::run(const std::atomic<bool>& stopping,
                        const std::function<void(SampleBufferPtr)>& onPicture) {
    support::MediaTime nextLook{};
    while (!stopping) {
        handleEvents();
        if (layoutNoticed_) throwIfLayoutChanged();

        const support::MediaTime now = clock_.hostTime();
        if (!somethingNoticed(now)) {
            wait(WakeOn::serverEvent,
                 cursor_ ? std::optional(cursor_->nextQuestion()) : std::nullopt);
            continue;
        }
        const support::MediaTime due = std::max(pacer_.due(now), nextLook);
        if (due > now) {
            wait(WakeOn::connectionLoss, due);
        } else if (!pool_->hasFree()) {
            wait(WakeOn::connectionLoss, std::nullopt);
        } else if (!look(now)) {
            nextLook = now + afterALookInVain;
        } else if (SampleBufferPtr sample = capture()) {
            onPicture(std::move(sample));
        }
    }
}

void ScreenCapture::handleEvents() {
    // Events that came together with replies are waiting here; others only if poll() said so.
    const auto next =
        std::exchange(serverReadable_, false) ? &xcb_poll_for_event : &xcb_poll_for_queued_event;
    while (const Reply<xcb_generic_event_t> record{next(connection_.xcb())}) {
        const Event event{static_cast<std::uint8_t>(record->response_type & 0x7F), record.get()};
        if (damage_.handle(event) || (cursor_ && cursor_->handle(event))) continue;
        if (event.type == XCB_CONFIGURE_NOTIFY || event.type == layoutNoticeType_ ||
            event.type == layoutNoticeType_ + XCB_RANDR_NOTIFY) {
            layoutNoticed_ = true;
        }
    }
    connection_.throwIfLost();
}

void ScreenCapture::throwIfLayoutChanged() {
    layoutNoticed_ = false;
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
    const PixelRect existing = geometry_.visible.movedBy(geometry_.source.x, geometry_.source.y);
    const bool onRoot =
        existing.isEmpty() || PixelRect{0, 0, root->width, root->height}.contains(existing);
    if (found->frame != display_.frame || !onRoot) {
        throw x11Error(Failure::displayChanged,
                       "The display that is being recorded changed its size or position.");
    }
}

bool ScreenCapture::somethingNoticed(support::MediaTime now) const {
    return changePending_ || damage_.noticed() ||
           (cursor_ && (cursor_->noticed() || now >= cursor_->nextQuestion()));
}

bool ScreenCapture::look(support::MediaTime now) {
    const bool drawn = damage_.noticed();
    if (drawn) damage_.request();
    if (cursor_) cursor_->request(now);
    if (drawn) {
        damage_.receive([&](const PixelRect& rect) { changePending_ |= addStale(rect); });
    }
    if (cursor_) {
        const PixelRect before = cursor_->rect();
        if (cursor_->receive()) {
            changePending_ |= addStale(before);
            changePending_ |= addStale(cursor_->rect());
        }
    }
    return changePending_;
}

bool ScreenCapture::addStale(const PixelRect& rootRect) {
    const PixelRect inside = intersectionOf(
        rootRect.movedBy(-geometry_.source.x, -geometry_.source.y), geometry_.visible);
    if (inside.isEmpty()) return false;
    if (staging_) {
        staging_->stale.add(inside);
    } else {
        pool_->addStale(inside);
    }
    return true;
}

SampleBufferPtr ScreenCapture::capture() {
    // Two pictures never share a time, however coarse the clock.
    const support::MediaTime time = std::max(clock_.hostTime(), lastTime_ + 1ns);
    PicturePool::Slot& slot = pool_->take();
    const pixels::I420Image& image = pool_->imageOf(slot);
    StaleRegion& stale = staging_ ? staging_->stale : pool_->staleRegionOf(slot);
    pacer_.captured(time);
    lastTime_ = time;
    bool drawn = false;
    try {
        drawn = draw(stale, staging_ ? staging_->image : image);
    } catch (...) {
        pool_->putBack(slot);
        throw;
    }
    if (!drawn) {
        // The screen has shrunk, and the notice of it is on its way; if not, this is tried again.
        layoutNoticed_ = true;
        pool_->putBack(slot);
        return nullptr;
    }
    stale.clear();
    changePending_ = false;
    if (staging_) pixels::scale(staging_->image, image);
    return pool_->deliver(slot, time);
}

bool ScreenCapture::draw(const StaleRegion& stale, const pixels::I420Image& image) {
    requests_.clear();
    for (const PixelRect& rect : stale.rects()) {
        requests_.push_back(intersectionOf(rect, geometry_.visible)
                                .movedBy(geometry_.source.x, geometry_.source.y));
    }
    grabber_->request(requests_);
    bool complete = true;
    for (const PixelRect& rect : stale.rects()) {
        pixels::PackedTarget source;
        if (!grabber_->next(source)) {
            complete = false;
            continue;
        }
        drawOne(rect, intersectionOf(rect, geometry_.visible), source, image);
    }
    return complete;
}

void ScreenCapture::drawOne(const PixelRect& rect, const PixelRect& existing,
                            pixels::PackedTarget source, const pixels::I420Image& image) {
    if (cursor_ && !cursor_->rect().isEmpty()) {
        const PixelRect cursor = cursor_->rect().movedBy(-geometry_.source.x, -geometry_.source.y);
        pixels::blendCursor(cursor_->image(), cursor.x - existing.x, cursor.y - existing.y, source,
                            format_, existing.width, existing.height);
    }
    if (existing != rect) {
        edge_.assign(static_cast<std::size_t>(rect.area()), 0);
        const pixels::PackedTarget whole{edge_.data(), rect.width};
        for (int y = 0; y < existing.height; ++y) {
            std::copy_n(source.at(0, y), existing.width,
                        whole.at(existing.x - rect.x, existing.y - rect.y + y));
        }
        source = whole;
    }
    pixels::convertToI420({source.pixels, source.stride}, format_, rect.width, rect.height,
                          image.rows().at(rect.x, rect.y));
}

void ScreenCapture::wait(WakeOn wakeOn, std::optional<support::MediaTime> until) {
    const short serverEvents = wakeOn == WakeOn::serverEvent ? POLLIN : 0;
    pollfd descriptors[] = {{connection_.descriptor(), serverEvents, 0},
                            {wakeup_->descriptor(), POLLIN, 0}};
    timespec timeout{};
    if (until) {
        const auto left = std::max(*until - clock_.hostTime(), 0ns);
        timeout.tv_sec = static_cast<time_t>(left / 1s);
        timeout.tv_nsec = static_cast<long>((left % 1s).count());
    }
    if (ppoll(descriptors, 2, until ? &timeout : nullptr, nullptr) < 0) {
        if (errno != EINTR) throw posixError(errno, "Could not wait for the X server");
        return;
    }
    serverReadable_ = descriptors[0].revents != 0;
    if (descriptors[1].revents != 0) wakeup_->reset();
}

}  // namespace quorvane::platform::x11
