#include "platform/linux/x11/screen_capture.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include <poll.h>
#include <xcb/xcb.h>

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

}  // namespace

ScreenCapture::ScreenCapture(const Connection& connection, std::unique_ptr<PictureContent> content,
                             const StreamConfiguration& configuration, const support::Clock& clock,
                             std::shared_ptr<Wakeup> wakeup)
    : connection_(connection),
      clock_(clock),
      wakeup_(std::move(wakeup)),
      content_(std::move(content)),
      outputWidth_(configuration.width),
      outputHeight_(configuration.height),
      pacer_(configuration.minimumFrameInterval) {
    if (configuration.showsCursor) {
        cursor_.emplace(connection,
                        std::max(configuration.minimumFrameInterval, leastQuestionInterval));
    }
    pool_ =
        PicturePool::make(outputWidth_, outputHeight_, PixelRect{},
                          static_cast<std::size_t>(std::max(configuration.queueDepth, 1)), wakeup_);
    requests_.reserve(StaleRegion::maximumRects);
    adoptSource();
}

void ScreenCapture::run(const std::atomic<bool>& stopping,
                        const std::function<void(SampleBufferPtr)>& onPicture) {
    support::MediaTime nextLook{};
    while (!stopping) {
        do
            handleEvents();
        while (content_->check());

        const support::MediaTime now = clock_.hostTime();
        if (!somethingNoticed(now)) {
            wait(WakeOn::serverEvent, nextQuestion());
            continue;
        }
        const support::MediaTime due = std::max(pacer_.due(now), nextLook);
        const WakeOn meanwhile =
            content_->handlesEventsAtOnce() ? WakeOn::serverEvent : WakeOn::connectionLoss;
        if (due > now) {
            wait(meanwhile, due);
        } else if (!pool_->hasFree()) {
            wait(meanwhile, std::nullopt);
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
        if (cursor_ && cursor_->handle(event)) continue;
        content_->handle(event);
    }
    connection_.throwIfLost();
}

bool ScreenCapture::somethingNoticed(support::MediaTime now) const {
    if (content_->noticed() || (cursor_ && cursor_->noticed())) return true;
    if (changePending_ && content_->isReady()) return true;
    const auto question = nextQuestion();
    return question && now >= *question;
}

std::optional<support::MediaTime> ScreenCapture::nextQuestion() const {
    auto question = content_->nextQuestion();
    if (cursor_ && (!question || cursor_->nextQuestion() < *question)) {
        question = cursor_->nextQuestion();
    }
    return question;
}

bool ScreenCapture::look(support::MediaTime now) {
    const auto question = content_->nextQuestion();
    const bool asks = content_->noticed() || (question && now >= *question);
    if (asks) content_->request();
    if (cursor_) cursor_->request(now);
    if (asks) {
        const auto visit = [&](const PixelRect& rect) { changePending_ |= addStale(rect); };
        RectVisitorOf visitor(visit);
        content_->receive(visitor);
        if (content_->source().version != sourceVersion_) adoptSource();
    }
    if (cursor_) followCursor(cursor_->receive());
    return changePending_ && content_->isReady();
}

void ScreenCapture::followCursor(bool newImage) {
    const PictureSource& source = content_->source();
    PixelRect place;
    if (content_->showsCursorOver(cursor_->topLevelUnder())) {
        place = cursor_->rect().movedBy(-source.rootX, -source.rootY);
    }
    if (!newImage && place == cursorPlace_) return;
    changePending_ |= addStale(std::exchange(cursorPlace_, place));
    changePending_ |= addStale(place);
}

void ScreenCapture::adoptSource() {
    const PictureSource& source = content_->source();
    geometry_ = captureGeometryOf(source.rect, source.existing, outputWidth_, outputHeight_,
                                  source.keepsAspect);
    if (geometry_.source.area() > mostPixels) {
        throw x11Error(Failure::regionTooLarge, "The region is too large to be recorded.");
    }
    sourceVersion_ = source.version;
    if (!grabber_ || geometry_.drawn.area() > grabberPixels_) {
        grabber_.reset();
        grabberPixels_ = geometry_.drawn.area();
        grabber_ = makePixelGrabber(connection_, static_cast<std::size_t>(grabberPixels_),
                                    StaleRegion::maximumRects);
    }
    staging_.reset();
    if (geometry_.scaled) {
        staging_.emplace(Staging{pixels::I420Image(geometry_.source.width, geometry_.source.height),
                                 StaleRegion(geometry_.drawn)});
        staging_->image.fillBlack();
        staging_->stale.add(geometry_.drawn);
        pool_->redraw(geometry_.target, geometry_.target);
    } else {
        pool_->redraw(geometry_.drawn, geometry_.target);
    }
    cursorPlace_ = {};
    changePending_ = true;
}

bool ScreenCapture::addStale(const PixelRect& rect) {
    const PixelRect inside =
        intersectionOf(rect.movedBy(-geometry_.source.x, -geometry_.source.y), geometry_.visible);
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
        // What the server said before it gave the pixels is here by now.
        handleEvents();
        drawn = drawn && content_->mayBeShown();
    } catch (...) {
        pool_->putBack(slot);
        throw;
    }
    if (!drawn) {
        // It is tried again: the pixels are stale still.
        pool_->putBack(slot);
        return nullptr;
    }
    stale.clear();
    changePending_ = false;
    if (staging_) {
        pixels::scale(staging_->image, image.rows().at(geometry_.target.x, geometry_.target.y),
                      geometry_.target.width, geometry_.target.height);
    }
    return pool_->deliver(slot, time);
}

bool ScreenCapture::draw(const StaleRegion& stale, const pixels::I420Image& image) {
    requests_.clear();
    for (const PixelRect& rect : stale.rects()) {
        requests_.push_back(intersectionOf(rect, geometry_.visible)
                                .movedBy(geometry_.source.x, geometry_.source.y));
    }
    grabber_->request(content_->source().drawable, requests_);
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
    hide(existing, source);
    if (!cursorPlace_.isEmpty()) {
        const PixelRect cursor = cursorPlace_.movedBy(-geometry_.source.x, -geometry_.source.y);
        pixels::blendCursor(cursor_->image(), cursor.x - existing.x, cursor.y - existing.y, source,
                            content_->source().format, existing.width, existing.height);
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
    pixels::convertToI420({source.pixels, source.stride}, content_->source().format, rect.width,
                          rect.height, image.rows().at(rect.x, rect.y));
}

void ScreenCapture::hide(const PixelRect& existing, pixels::PackedTarget source) const {
    for (const PixelRect& rect : content_->source().hidden) {
        const PixelRect hidden =
            intersectionOf(rect.movedBy(-geometry_.source.x, -geometry_.source.y), existing);
        for (int y = 0; y < hidden.height; ++y) {
            std::fill_n(source.at(hidden.x - existing.x, hidden.y - existing.y + y), hidden.width,
                        0);
        }
    }
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
