#include "platform/linux/x11/painting_watch.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <utility>

#include <xcb/damage.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/rect_visitor.h"
#include "platform/linux/x11/reply.h"

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

// Programs paint within some hundredths of a second. What comes later, or was taken for the
// server's, is shown at last.
constexpr std::chrono::nanoseconds paintingPatience = 5s;
// For what may have been painted unnoticed: menus are not to come late.
constexpr std::chrono::nanoseconds doubtPatience = 100ms;

// Of the reports between two updates so many are looked at one by one, and the rest together, so
// that what is painted there counts from the next time on at the latest.
constexpr std::size_t mostSingleReports = 64;
// More are not kept.
constexpr std::size_t mostEntries = 4096;

bool isEmpty(const ServerRegion& region) {
    bool empty = true;
    const auto note = [&](const PixelRect&) { empty = false; };
    RectVisitorOf noting(note);
    region.receiveRects(region.requestRects(), noting);
    return empty;
}

}  // namespace

PaintingWatch::PaintingWatch(const Connection& connection, const support::Clock& clock,
                             std::uint32_t window)
    : window_(window),
      connection_(connection),
      clock_(clock),
      noticeType_(static_cast<std::uint8_t>(
          connection.extension(xcb_damage_id, "DAMAGE").first_event + XCB_DAMAGE_NOTIFY)),
      damage_(xcb_generate_id(connection.xcb())),
      unpainted_(connection),
      owed_(connection),
      owedAgain_(connection),
      seen_(connection),
      expected_(connection),
      appeared_(connection),
      again_(connection),
      part_(connection) {
    xcb_connection_t* xcb = connection.xcb();
    xcb_damage_create(xcb, damage_, window, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    attributesRequest_ = xcb_get_window_attributes(xcb, window).sequence;
    geometryRequest_ = xcb_get_geometry(xcb, window).sequence;
}

PaintingWatch::~PaintingWatch() {
    xcb_connection_t* xcb = connection_.xcb();
    if (!sawTheBeginning_) {
        xcb_discard_reply(xcb, attributesRequest_);
        xcb_discard_reply(xcb, geometryRequest_);
    }
    xcb_damage_destroy(xcb, damage_);
}

bool PaintingWatch::handle(const Event& event) {
    if (event.type == noticeType_) {
        const auto& notice = *static_cast<const xcb_damage_notify_event_t*>(event.record);
        if (notice.damage != damage_) return false;
        const bool more = (notice.level & 0x80) != 0;
        note({more ? Kind::part : Kind::reportsEnd,
              {notice.area.x, notice.area.y, notice.area.width, notice.area.height}});
        return true;
    }
    const auto noteOther = [&](std::uint32_t from) {
        if (from == connection_.root()) othersMoved_ = mayBeSeenAnew_ = true;
    };
    switch (event.type) {
        case XCB_CONFIGURE_NOTIFY: {
            const auto& notice = *static_cast<const xcb_configure_notify_event_t*>(event.record);
            if (notice.window == window_) {
                noteConfigure(event.record);
            } else {
                noteOther(notice.event);
            }
            break;
        }
        case XCB_MAP_NOTIFY: {
            const auto& notice = *static_cast<const xcb_map_notify_event_t*>(event.record);
            if (notice.window == window_) {
                wasCovered_ = othersMoved_ = false;
                entries_.clear();  // of a picture before this one
            } else {
                noteOther(notice.event);
            }
            break;
        }
        case XCB_UNMAP_NOTIFY:
            noteOther(static_cast<const xcb_unmap_notify_event_t*>(event.record)->event);
            break;
        case XCB_CIRCULATE_NOTIFY:
            noteOther(static_cast<const xcb_circulate_notify_event_t*>(event.record)->event);
            break;
        default:
            break;
    }
    return false;
}

// It is told before the server moves the window.
void PaintingWatch::noteConfigure(const void* record) {
    const auto& notice = *static_cast<const xcb_configure_notify_event_t*>(record);
    // The geometry that was asked for is newer than what was told before.
    const auto sequence = static_cast<const xcb_generic_event_t*>(record)->full_sequence;
    if (static_cast<std::int32_t>(sequence - geometryRequest_) < 0) return;
    const bool isSent = (notice.response_type & 0x80) != 0;
    if (isSent) return;
    learnTheBeginning();
    mayBeSeenAnew_ = true;
    const PixelRect place{notice.x, notice.y, notice.width, notice.height};
    const PixelRect before = std::exchange(place_, place);
    if (place.width != before.width || place.height != before.height) {
        note({Kind::resized, {}});
    } else if (place != before) {
        note({Kind::moved, {}});
    }
}

void PaintingWatch::noteCovered() {
    wasCovered_ = true;
    if (!settled_) firstReportIsOwed_ = false;
}

void PaintingWatch::note(const Entry& entry) {
    if (entries_.size() < mostEntries) entries_.push_back(entry);
}

void PaintingWatch::learnTheBeginning() {
    if (sawTheBeginning_) return;
    xcb_connection_t* xcb = connection_.xcb();
    const Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(xcb, {attributesRequest_}, nullptr));
    const Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(xcb, {geometryRequest_}, nullptr));
    sawTheBeginning_ = attributes && attributes->map_state != XCB_MAP_STATE_VIEWABLE;
    if (geometry) place_ = {geometry->x, geometry->y, geometry->width, geometry->height};
}

void PaintingWatch::expect(const ServerRegion& region) {
    unpainted_.add(region);
}

void PaintingWatch::expectFromMapping(const ServerRegion& region) {
    learnTheBeginning();
    if (!*sawTheBeginning_) {
        expectAnew(region);
        return;
    }
    unpainted_.add(region);
    expected_.assign(region);
    // The server's own, where it redirects the window automatically and some of it is seen.
    firstReportIsOwed_ = !wasCovered_;
    end_ = clock_.hostTime() + paintingPatience;
}

void PaintingWatch::expectAnew(const ServerRegion& region) {
    unpainted_.add(region);
    expected_.assign(region);
    // As it was when the watch began.
    owed_.add(region);
    doubt();
}

void PaintingWatch::expectFromResizing(const ServerRegion& region) {
    expected_.assign(region);
    expectsResized_ = true;
    doubt();
}

// Not once more while it lasts: each step of a resizing would begin anew.
void PaintingWatch::doubt() {
    if (!std::exchange(doubtful_, true)) end_ = clock_.hostTime() + doubtPatience;
}

// Whether it is known by now what the server has reported by itself.
bool PaintingWatch::settle() {
    if (settled_) return true;
    const bool asks = !std::exchange(asked_, true);
    if (asks) {
        seen_.assignSeenOf(window_);
        isSeen_ = !isEmpty(seen_);
    }
    const auto first = firstReport();
    // All that was told before the answer is here the next time.
    mayBeSeenAnew_ = asks && firstReportIsOwed_ && first.empty();
    if (mayBeSeenAnew_) return false;
    settled_ = true;
    // When others have moved, it may have been seen for a moment.
    if (!isSeen_ && (first.empty() || !othersMoved_)) firstReportIsOwed_ = false;
    // What is seen by now, and was not when the window was mapped, is reported after that.
    if (wasCovered_ || firstReportIsOwed_) {
        appeared_.assign(seen_);
        part_.assign(first);
        if (firstReportIsOwed_) appeared_.subtract(part_);
        owe(appeared_);
    }
    return true;
}

// The server reports by itself what comes to be seen.
void PaintingWatch::follow() {
    mayBeSeenAnew_ = false;
    again_.assign(seen_);
    seen_.assignSeenOf(window_);
    appeared_.assign(seen_);
    appeared_.subtract(again_);
    owe(appeared_);
}

// Empty as long as it is not complete.
std::vector<PixelRect> PaintingWatch::firstReport() const {
    std::vector<PixelRect> first;
    for (const Entry& entry : entries_) {
        if (entry.kind != Kind::part && entry.kind != Kind::reportsEnd) continue;
        first.push_back(entry.rect);
        if (entry.kind == Kind::reportsEnd) return first;
    }
    return {};
}

void PaintingWatch::owe(const ServerRegion& region) {
    part_.assign(region);
    part_.intersect(owed_);
    owedAgain_.add(part_);
    owed_.add(region);
}

void PaintingWatch::skipFirstReport() {
    const auto end = std::find_if(entries_.begin(), entries_.end(), [](const Entry& entry) {
        return entry.kind == Kind::reportsEnd;
    });
    firstReportIsOwed_ = end == entries_.end();
    entries_.erase(std::remove_if(entries_.begin(), firstReportIsOwed_ ? end : end + 1,
                                  [](const Entry& entry) {
                                      return entry.kind == Kind::part ||
                                             entry.kind == Kind::reportsEnd;
                                  }),
                   firstReportIsOwed_ ? end : end + 1);
}

void PaintingWatch::count(std::span<const Entry> reports, ServerRegion& painted) {
    std::vector<PixelRect> rects;
    rects.reserve(reports.size());
    for (const Entry& each : reports)
        rects.push_back(each.rect);
    part_.assign(rects);
    part_.subtract(owed_);
    painted.add(part_);
    unpainted_.subtract(part_);
    part_.assign(rects);
    owed_.subtract(part_);
    again_.assign(part_);
    again_.intersect(owedAgain_);
    owed_.add(again_);
    owedAgain_.subtract(part_);
}

void PaintingWatch::update(ServerRegion& painted) {
    painted.clear();
    if (!settle()) return;
    follow();
    if (firstReportIsOwed_) skipFirstReport();
    const std::span<const Entry> entries(entries_);
    std::size_t resizing = entries.size();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].kind == Kind::resized) resizing = i;
    }
    if (expectsResized_ && resizing == entries.size()) unpainted_.add(expected_);
    std::size_t counted = 0;
    for (std::size_t i = 0; i < entries.size();) {
        const Kind kind = entries[i].kind;
        if (kind == Kind::moved || kind == Kind::resized) {
            if (kind == Kind::resized) doubt();
            if (i == resizing) {
                unpainted_.add(expected_);
                painted.subtract(expected_);
            }
            // Pixels are copied, painted or not: all of them when the window is moved, some, none,
            // or those that the server paints, when it is resized.
            owe(unpainted_);
            ++i;
            continue;
        }
        // Up to the next change at most.
        const auto isChange = [](const Entry& entry) {
            return entry.kind == Kind::moved || entry.kind == Kind::resized;
        };
        const auto rest = entries.subspan(i);
        const auto reports = static_cast<std::size_t>(
            std::find_if(rest.begin(), rest.end(), isChange) - rest.begin());
        const std::size_t size = counted++ < mostSingleReports ? 1 : reports;
        count(rest.first(size), painted);
        i += size;
    }
    expectsResized_ = false;
    entries_.clear();
}

}  // namespace quorvane::platform::x11
