#include "platform/linux/x11/painting_watch.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <xcb/damage.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/rect_visitor.h"
#include "platform/linux/x11/reply.h"

namespace quorvane::platform::x11 {
namespace {

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

PaintingWatch::PaintingWatch(const Connection& connection, std::uint32_t window)
    : window_(window),
      connection_(connection),
      noticeType_(static_cast<std::uint8_t>(
          connection.extension(xcb_damage_id, "DAMAGE").first_event + XCB_DAMAGE_NOTIFY)),
      damage_(xcb_generate_id(connection.xcb())),
      unpainted_(connection),
      owed_(connection),
      owedAgain_(connection),
      visible_(connection),
      resized_(connection),
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
    switch (event.type) {
        case XCB_CONFIGURE_NOTIFY:
            noteConfigure(event.record);
            break;
        case XCB_MAP_NOTIFY:
            othersMoved_ =
                static_cast<const xcb_map_notify_event_t*>(event.record)->window != window_;
            // Of a picture before this one.
            if (!othersMoved_) entries_.clear();
            break;
        case XCB_UNMAP_NOTIFY:
        case XCB_CIRCULATE_NOTIFY:
            othersMoved_ = true;
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
    if (notice.window != window_) {
        othersMoved_ = true;
        return;
    }
    learnTheBeginning();
    const PixelRect place{notice.x, notice.y, notice.width, notice.height};
    const PixelRect before = std::exchange(place_, place);
    if (place.width != before.width || place.height != before.height) {
        note({Kind::resized, {}});
    } else if (place != before) {
        note({Kind::moved, {}});
    }
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

bool PaintingWatch::sawTheBeginning() {
    learnTheBeginning();
    return *sawTheBeginning_;
}

void PaintingWatch::expect(const ServerRegion& region) {
    unpainted_.add(region);
}

void PaintingWatch::expectAfterFirstReport(const ServerRegion& region) {
    unpainted_.add(region);
    firstReportIsOwed_ = true;
}

void PaintingWatch::expectAnew(const ServerRegion& region) {
    unpainted_.add(region);
    owed_.add(region);
}

void PaintingWatch::expectFromResizing(const ServerRegion& region) {
    resized_.assign(region);
    expectsResized_ = true;
}

void PaintingWatch::follow(const ServerRegion& visible) {
    if (std::exchange(visibleIsReported_, false)) {
        if (firstReportIsOwed_ && !othersMoved_) firstReportIsOwed_ = !isEmpty(visible);
        if (firstReportIsOwed_) oweBeyondFirstReport(visible);
    } else {
        appeared_.assign(visible);
        appeared_.subtract(visible_);
        owe(appeared_);
    }
    visible_.assign(visible);
}

// What is visible by now, and was not when the window was mapped, is reported after that.
void PaintingWatch::oweBeyondFirstReport(const ServerRegion& visible) {
    std::vector<PixelRect> first;
    for (const Entry& entry : entries_) {
        if (entry.kind != Kind::part && entry.kind != Kind::reportsEnd) continue;
        first.push_back(entry.rect);
        if (entry.kind == Kind::part) continue;
        appeared_.assign(visible);
        part_.assign(first);
        appeared_.subtract(part_);
        owe(appeared_);
        return;
    }
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

// Pixels are copied, painted or not: all of them when the window is moved, some, none, or those
// that the server paints, when it is resized.
void PaintingWatch::takeChange(Kind kind) {
    if (kind == Kind::resized) doubtful_ = true;
    owe(unpainted_);
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
    if (firstReportIsOwed_) skipFirstReport();
    const std::span<const Entry> entries(entries_);
    std::size_t resizing = entries.size();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].kind == Kind::resized) resizing = i;
    }
    if (expectsResized_ && resizing == entries.size()) unpainted_.add(resized_);
    std::size_t counted = 0;
    for (std::size_t i = 0; i < entries.size();) {
        const Kind kind = entries[i].kind;
        if (kind == Kind::moved || kind == Kind::resized) {
            if (expectsResized_ && i == resizing) {
                unpainted_.add(resized_);
                painted.subtract(resized_);
            }
            takeChange(kind);
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
