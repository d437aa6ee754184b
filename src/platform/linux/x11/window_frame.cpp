#include "platform/linux/x11/window_frame.h"

#include <algorithm>

#include <xcb/xcb.h>

#include "platform/linux/x11/atoms.h"
#include "platform/linux/x11/capture_geometry.h"
#include "platform/linux/x11/property_words.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/visible_frame.h"
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

// Managers that roll a window up without a word leave less than this of it in its frame; those that
// give it less room than it asks for leave more. Pixels.
bool isEnough(int visible, int length) {
    return visible >= std::min(length, std::max(length / 4, 16));
}

support::Rect points(const PixelRect& rect) {
    return {double(rect.x), double(rect.y), double(rect.width), double(rect.height)};
}

}  // namespace

WindowFrameAtoms::WindowFrameAtoms(const Connection& connection)
    : decorations(atomOf(connection, "_NET_FRAME_EXTENTS")),
      shadows(atomOf(connection, "_GTK_FRAME_EXTENTS")),
      states(atomOf(connection, "_NET_WM_STATE")),
      hidden(atomOf(connection, "_NET_WM_STATE_HIDDEN")) {}

std::uint32_t topLevelOf(const Connection& connection, std::uint32_t window, std::uint32_t events) {
    xcb_connection_t* xcb = connection.xcb();
    // Others have selected what they need of the root window itself.
    if (window == connection.root()) return 0;
    for (;;) {
        // Select first, look then.
        if (events != 0) xcb_change_window_attributes(xcb, window, XCB_CW_EVENT_MASK, &events);
        const auto tree = answer(connection, xcb_query_tree(xcb, window), &xcb_query_tree_reply);
        if (!tree || tree->parent == XCB_NONE) return 0;
        if (tree->parent == connection.root()) return window;
        window = tree->parent;
    }
}

std::optional<WindowFrame> windowFrameOf(const Connection& connection, std::uint32_t window,
                                         std::uint32_t topLevel, const WindowFrameAtoms& atoms) {
    xcb_connection_t* xcb = connection.xcb();
    const auto geometryCookie = xcb_get_geometry(xcb, topLevel);
    const auto attributesCookie = xcb_get_window_attributes(xcb, topLevel);
    const auto ownAttributesCookie = xcb_get_window_attributes(xcb, window);
    const auto ownGeometryCookie = xcb_get_geometry(xcb, window);
    const auto placeCookie = xcb_translate_coordinates(xcb, window, topLevel, 0, 0);
    const auto decorationsCookie =
        xcb_get_property(xcb, false, window, atoms.decorations, XCB_ATOM_CARDINAL, 0, 4);
    const auto shadowsCookie =
        xcb_get_property(xcb, false, window, atoms.shadows, XCB_ATOM_CARDINAL, 0, 4);
    // After the geometry: a manager that says first that it hides the window is believed.
    const auto statesCookie =
        xcb_get_property(xcb, false, window, atoms.states, XCB_ATOM_ATOM, 0, mostStates);
    const auto geometry = answer(connection, geometryCookie, &xcb_get_geometry_reply);
    const auto attributes = answer(connection, attributesCookie, &xcb_get_window_attributes_reply);
    const auto ownAttributes =
        answer(connection, ownAttributesCookie, &xcb_get_window_attributes_reply);
    const auto ownGeometry = answer(connection, ownGeometryCookie, &xcb_get_geometry_reply);
    const auto place = answer(connection, placeCookie, &xcb_translate_coordinates_reply);
    const auto decorations = answer(connection, decorationsCookie, &xcb_get_property_reply);
    const auto shadows = answer(connection, shadowsCookie, &xcb_get_property_reply);
    const auto states = answer(connection, statesCookie, &xcb_get_property_reply);
    if (!geometry || !attributes || !ownAttributes || !ownGeometry || !place || !decorations ||
        !shadows || !states) {
        return std::nullopt;
    }

    WindowFrame frame;
    frame.border = geometry->border_width;
    frame.outer = {geometry->x, geometry->y, geometry->width + 2 * frame.border,
                   geometry->height + 2 * frame.border};
    frame.viewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    const PixelRect own{place->dst_x, place->dst_y, ownGeometry->width, ownGeometry->height};
    const PixelRect inFrame = intersectionOf(own, {0, 0, geometry->width, geometry->height});
    frame.showsWindow = ownAttributes->map_state == XCB_MAP_STATE_VIEWABLE &&
                        std::ranges::count(wordsOf(*states), atoms.hidden) == 0 &&
                        (window == topLevel || (isEnough(inFrame.width, own.width) &&
                                                isEnough(inFrame.height, own.height)));
    frame.visual = attributes->visual;

    WindowPlacement placement;
    placement.client =
        points(own.movedBy(frame.outer.x + frame.border, frame.outer.y + frame.border));
    placement.clientBorder = ownGeometry->border_width;
    if (topLevel != window) placement.frame = points(frame.outer);
    placement.decorations = extentsFrom(wordsOf(*decorations));
    placement.shadows = extentsFrom(wordsOf(*shadows)).value_or(Extents{});
    const PixelRect whole{0, 0, frame.outer.width, frame.outer.height};
    frame.seen = intersectionOf(
        pixelRectOf(visibleFrame(placement)).movedBy(-frame.outer.x, -frame.outer.y), whole);
    if (frame.seen.isEmpty()) frame.seen = whole;
    return frame;
}

}  // namespace quorvane::platform::x11
