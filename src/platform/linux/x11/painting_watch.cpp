#include "platform/linux/x11/painting_watch.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <xcb/damage.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/reply.h"

namespace quorvane::platform::x11 {
namespace {

// Of the reports between two updates so many are looked at one by one, and the rest together, so
// that what is painted there counts from the next time on at the latest.
constexpr std::size_t mostSingleReports = 64;
// More are not kept.
constexpr std::size_t mostReports = 4096;

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
      appeared_(connection),
      again_(connection),
      part_(connection) {
    xcb_connection_t* xcb = connection.xcb();
    xcb_damage_create(xcb, damage_, window, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    attributesRequest_ = xcb_get_window_attributes(xcb, window).sequence;
}

PaintingWatch::~PaintingWatch() {
    xcb_connection_t* xcb = connection_.xcb();
    if (!sawTheBeginning_) xcb_discard_reply(xcb, attributesRequest_);
    xcb_damage_destroy(xcb, damage_);
}

bool PaintingWatch::handle(const Event& event) {
    if (event.type != noticeType_) return false;
    const auto& notice = *static_cast<const xcb_damage_notify_event_t*>(event.record);
    if (notice.damage != damage_) return false;
    if (reports_.size() < mostReports) {
        const bool more = (notice.level & 0x80) != 0;
        reports_.push_back(
            {{notice.area.x, notice.area.y, notice.area.width, notice.area.height}, !more});
    }
    return true;
}

bool PaintingWatch::sawTheBeginning() {
    if (!sawTheBeginning_) {
        const Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(connection_.xcb(), {attributesRequest_}, nullptr));
        sawTheBeginning_ = attributes && attributes->map_state != XCB_MAP_STATE_VIEWABLE;
    }
    return *sawTheBeginning_;
}

void PaintingWatch::expect(const ServerRegion& region, bool visibleIsPainted) {
    unpainted_.add(region);
    visibleIsReported_ = visibleIsPainted;
}

void PaintingWatch::expectAnew(const ServerRegion& region) {
    unpainted_.add(region);
    owed_.assign(unpainted_);
    owedAgain_.clear();
    visibleIsReported_ = true;
}

void PaintingWatch::expectAfterFirstReport(const ServerRegion& region) {
    unpainted_.add(region);
    firstReportIsOwed_ = true;
}

void PaintingWatch::follow(const ServerRegion& visible) {
    if (!std::exchange(visibleIsReported_, false)) {
        appeared_.assign(visible);
        appeared_.subtract(visible_);
        owe(appeared_);
    }
    visible_.assign(visible);
}

void PaintingWatch::owe(const ServerRegion& region) {
    part_.assign(region);
    part_.intersect(owed_);
    owedAgain_.add(part_);
    owed_.add(region);
}

void PaintingWatch::skipFirstReport() {
    const auto end = std::find_if(reports_.begin(), reports_.end(),
                                  [](const Rect& rect) { return rect.endsReport; });
    firstReportIsOwed_ = end == reports_.end();
    reports_.erase(reports_.begin(), firstReportIsOwed_ ? end : end + 1);
}

void PaintingWatch::count(std::span<const Rect> report, ServerRegion& painted) {
    std::vector<PixelRect> rects;
    rects.reserve(report.size());
    for (const Rect& each : report)
        rects.push_back(each.rect);
    part_.assign(rects);
    part_.subtract(owed_);
    painted.add(part_);
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
    const std::span<const Rect> reports(reports_);
    const std::size_t single = std::min(reports.size(), mostSingleReports);
    for (std::size_t i = 0; i < single; ++i)
        count(reports.subspan(i, 1), painted);
    if (single < reports.size()) count(reports.subspan(single), painted);
    reports_.clear();
    painted.intersect(unpainted_);
    unpainted_.subtract(painted);
}

}  // namespace quorvane::platform::x11
