#include "platform/linux/x11/server_region.h"

#include <vector>

#include <xcb/composite.h>
#include <xcb/shape.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

xcb_rectangle_t onTheWire(const PixelRect& rect) {
    return {static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
}

}  // namespace

ServerRegion::ServerRegion(const Connection& connection)
    : connection_(connection), id_(xcb_generate_id(connection.xcb())) {
    xcb_xfixes_create_region(connection.xcb(), id_, 0, nullptr);
}

ServerRegion::~ServerRegion() {
    xcb_xfixes_destroy_region(connection_.xcb(), id_);
}

void ServerRegion::clear() {
    xcb_xfixes_set_region(connection_.xcb(), id_, 0, nullptr);
}

void ServerRegion::assign(const PixelRect& rect) {
    const xcb_rectangle_t wire = onTheWire(rect);
    xcb_xfixes_set_region(connection_.xcb(), id_, rect.isEmpty() ? 0 : 1, &wire);
}

void ServerRegion::assign(std::span<const PixelRect> rects) {
    std::vector<xcb_rectangle_t> wire;
    wire.reserve(rects.size());
    for (const PixelRect& rect : rects)
        wire.push_back(onTheWire(rect));
    xcb_xfixes_set_region(connection_.xcb(), id_, static_cast<std::uint32_t>(wire.size()),
                          wire.data());
}

void ServerRegion::assign(const ServerRegion& other) {
    xcb_xfixes_copy_region(connection_.xcb(), other.id_, id_);
}

void ServerRegion::assignShapeOf(std::uint32_t window) {
    // The request makes a new region. When the window is gone there is none, and the old one stays.
    const std::uint32_t shape = xcb_generate_id(connection_.xcb());
    xcb_xfixes_create_region_from_window(connection_.xcb(), shape, window, XCB_SHAPE_SK_BOUNDING);
    xcb_xfixes_copy_region(connection_.xcb(), shape, id_);
    xcb_xfixes_destroy_region(connection_.xcb(), shape);
}

void ServerRegion::assignSeenOf(std::uint32_t window) {
    // As above.
    const std::uint32_t seen = xcb_generate_id(connection_.xcb());
    xcb_composite_create_region_from_border_clip(connection_.xcb(), seen, window);
    xcb_xfixes_copy_region(connection_.xcb(), seen, id_);
    xcb_xfixes_destroy_region(connection_.xcb(), seen);
}

void ServerRegion::moveBy(int dx, int dy) {
    xcb_xfixes_translate_region(connection_.xcb(), id_, static_cast<std::int16_t>(dx),
                                static_cast<std::int16_t>(dy));
}

void ServerRegion::add(const ServerRegion& other) {
    xcb_xfixes_union_region(connection_.xcb(), id_, other.id_, id_);
}

void ServerRegion::intersect(const ServerRegion& other) {
    xcb_xfixes_intersect_region(connection_.xcb(), id_, other.id_, id_);
}

void ServerRegion::subtract(const ServerRegion& other) {
    xcb_xfixes_subtract_region(connection_.xcb(), id_, other.id_, id_);
}

unsigned ServerRegion::requestRects() const {
    return xcb_xfixes_fetch_region(connection_.xcb(), id_).sequence;
}

void ServerRegion::receiveRects(unsigned request, RectVisitor& visitor) const {
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_xfixes_fetch_region_reply_t> reply(
        xcb_xfixes_fetch_region_reply(connection_.xcb(), {request}, &error));
    if (!reply) throwMissingReply(error, "tell what was drawn");
    const xcb_rectangle_t* rects = xcb_xfixes_fetch_region_rectangles(reply.get());
    const int count = xcb_xfixes_fetch_region_rectangles_length(reply.get());
    for (int i = 0; i < count; ++i) {
        visitor({rects[i].x, rects[i].y, rects[i].width, rects[i].height});
    }
}

}  // namespace quorvane::platform::x11
