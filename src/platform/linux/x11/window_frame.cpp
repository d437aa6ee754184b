#include "platform/linux/x11/window_frame.h"

#include <algorithm>

#include <xcb/xcb.h>

#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

// Takes a reply; null when the server refused, because the window is gone.
template <class T, class Cookie>
Reply<T> answer(const Connection& connection, Cookie cookie,
                T* (*wait)(xcb_connection_t*, Cookie, xcb_generic_error_t**)) {
    xcb_generic_error_t* error = nullptr;
    Reply<T> reply(wait(connection.xcb(), cookie, &error));
    const Reply<xcb_generic_error_t> refusal(error);
    if (!reply && !refusal) throwMissingReply(nullptr, "tell of a window");
    return reply;
}

// The rectangle without the four widths at its sides (left, right, top, bottom); all of it when
// nothing would be left.
PixelRect within(const PixelRect& rect, const std::uint32_t extents[4]) {
    const auto width = [&](int side) {
        return static_cast<int>(std::min<std::uint32_t>(extents[side], 0xFFFF));
    };
    const PixelRect inside = fromEdges(rect.x + width(0), rect.y + width(2),
                                       rect.right() - width(1), rect.bottom() - width(3));
    return inside.isEmpty() ? rect : inside;
}

}  // namespace

std::uint32_t topLevelOf(const Connection& connection, std::uint32_t window) {
    for (;;) {
        const auto tree =
            answer(connection, xcb_query_tree(connection.xcb(), window), &xcb_query_tree_reply);
        if (!tree || tree->parent == XCB_NONE) return 0;
        if (tree->parent == connection.root()) return window;
        window = tree->parent;
    }
}

std::optional<WindowFrame> windowFrameOf(const Connection& connection, std::uint32_t window,
                                         std::uint32_t topLevel, std::uint32_t extentsAtom) {
    xcb_connection_t* xcb = connection.xcb();
    const auto geometryCookie = xcb_get_geometry(xcb, topLevel);
    const auto attributesCookie = xcb_get_window_attributes(xcb, topLevel);
    const auto ownGeometryCookie = xcb_get_geometry(xcb, window);
    const auto placeCookie = xcb_translate_coordinates(xcb, window, topLevel, 0, 0);
    const auto extentsCookie =
        xcb_get_property(xcb, false, window, extentsAtom, XCB_ATOM_CARDINAL, 0, 4);
    const auto geometry = answer(connection, geometryCookie, &xcb_get_geometry_reply);
    const auto attributes = answer(connection, attributesCookie, &xcb_get_window_attributes_reply);
    const auto ownGeometry = answer(connection, ownGeometryCookie, &xcb_get_geometry_reply);
    const auto place = answer(connection, placeCookie, &xcb_translate_coordinates_reply);
    const auto extents = answer(connection, extentsCookie, &xcb_get_property_reply);
    if (!geometry || !attributes || !ownGeometry || !place || !extents) return std::nullopt;

    WindowFrame frame;
    frame.border = geometry->border_width;
    frame.outer = {geometry->x, geometry->y, geometry->width + 2 * frame.border,
                   geometry->height + 2 * frame.border};
    frame.seen = {0, 0, frame.outer.width, frame.outer.height};
    frame.viewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    frame.visual = attributes->visual;
    if (extents->format == 32 && xcb_get_property_value_length(extents.get()) == 16) {
        const auto* widths =
            static_cast<const std::uint32_t*>(xcb_get_property_value(extents.get()));
        // The shadows lie at the edges of the program's own window, wherever that is.
        const PixelRect own{place->dst_x + frame.border, place->dst_y + frame.border,
                            ownGeometry->width, ownGeometry->height};
        const bool shadows = widths[0] != 0 || widths[1] != 0 || widths[2] != 0 || widths[3] != 0;
        const PixelRect inside = intersectionOf(within(own, widths), frame.seen);
        if (shadows && !inside.isEmpty()) frame.seen = inside;
    }
    return frame;
}

}  // namespace quorvane::platform::x11
