#include "unit/x11/x_client.h"

#include <cstring>

#include <gtest/gtest.h>
#include <xcb/composite.h>
#include <xcb/randr.h>
#include <xcb/shape.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>
#include <xcb/xtest.h>

#include "platform/linux/x11/reply.h"

namespace quorvane::platform::x11 {
namespace {

xcb_rectangle_t wire(const PixelRect& rect) {
    return {static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
}

}  // namespace

void XClient::sync() {
    xcb_connection_t* xcb = connection_.xcb();
    const Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr));
    EXPECT_TRUE(reply);
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(xcb)}) {
        EXPECT_NE(event->response_type, 0) << "a drawing request failed";
    }
}

void XClient::fill(const PixelRect& rect, std::uint32_t pixel) {
    xcb_connection_t* xcb = connection_.xcb();
    const std::uint32_t context = xcb_generate_id(xcb);
    xcb_create_gc(xcb, context, connection_.root(), XCB_GC_FOREGROUND, &pixel);
    const xcb_rectangle_t rectangle = wire(rect);
    xcb_poly_fill_rectangle(xcb, connection_.root(), context, 1, &rectangle);
    xcb_free_gc(xcb, context);
    sync();
}

void XClient::put(const PixelRect& rect, const std::vector<std::uint32_t>& pixels) {
    xcb_connection_t* xcb = connection_.xcb();
    const std::uint32_t context = xcb_generate_id(xcb);
    xcb_create_gc(xcb, context, connection_.root(), 0, nullptr);
    const xcb_rectangle_t at = wire(rect);
    xcb_put_image(xcb, XCB_IMAGE_FORMAT_Z_PIXMAP, connection_.root(), context, at.width, at.height,
                  at.x, at.y, 0, connection_.screen().root_depth,
                  static_cast<std::uint32_t>(pixels.size() * 4),
                  reinterpret_cast<const std::uint8_t*>(pixels.data()));
    xcb_free_gc(xcb, context);
    sync();
}

std::vector<std::uint32_t> XClient::get(const PixelRect& rect) {
    xcb_connection_t* xcb = connection_.xcb();
    const xcb_rectangle_t at = wire(rect);
    const Reply<xcb_get_image_reply_t> reply(
        xcb_get_image_reply(xcb,
                            xcb_get_image(xcb, XCB_IMAGE_FORMAT_Z_PIXMAP, connection_.root(), at.x,
                                          at.y, at.width, at.height, ~0u),
                            nullptr));
    EXPECT_TRUE(reply);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(rect.area()));
    if (reply) std::memcpy(pixels.data(), xcb_get_image_data(reply.get()), pixels.size() * 4);
    return pixels;
}

std::uint32_t XClient::openWindow(const PixelRect& rect, std::uint32_t pixel) {
    const std::uint32_t window = xcb_generate_id(connection_.xcb());
    openWindow(window, rect, pixel);
    return window;
}

void XClient::openWindow(std::uint32_t window, const PixelRect& rect, std::uint32_t pixel) {
    xcb_connection_t* xcb = connection_.xcb();
    const xcb_rectangle_t at = wire(rect);
    const std::uint32_t values[] = {pixel, true};
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, window, connection_.root(), at.x, at.y, at.width,
                      at.height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(xcb, window);
    sync();
}

void XClient::replaceWindow(std::uint32_t window, const PixelRect& rect, std::uint32_t pixel) {
    xcb_destroy_window(connection_.xcb(), window);
    openWindow(window, rect, pixel);
}

std::uint32_t XClient::openBareWindow(const PixelRect& rect, bool withAlpha) {
    const std::uint32_t window = makeBareWindow(rect, withAlpha);
    mapWindow(window);
    return window;
}

std::uint32_t XClient::makeBareWindow(const PixelRect& rect, bool withAlpha) {
    xcb_connection_t* xcb = connection_.xcb();
    const xcb_screen_t& screen = connection_.screen();
    std::uint32_t visual = screen.root_visual;
    auto depths = xcb_screen_allowed_depths_iterator(&screen);
    for (; withAlpha && depths.rem > 0; xcb_depth_next(&depths)) {
        if (depths.data->depth == 32) visual = xcb_depth_visuals(depths.data)->visual_id;
    }
    const std::uint32_t colours = xcb_generate_id(xcb);
    xcb_create_colormap(xcb, XCB_COLORMAP_ALLOC_NONE, colours, screen.root, visual);
    const std::uint32_t window = xcb_generate_id(xcb);
    const xcb_rectangle_t at = wire(rect);
    const std::uint32_t values[] = {XCB_BACK_PIXMAP_NONE, 0, true, colours};
    xcb_create_window(
        xcb, withAlpha ? 32 : screen.root_depth, window, screen.root, at.x, at.y, at.width,
        at.height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
        XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_COLORMAP,
        values);
    sync();
    return window;
}

std::uint32_t XClient::makeWindow(const PixelRect& rect, std::uint32_t pixel, std::uint32_t parent,
                                  int border) {
    xcb_connection_t* xcb = connection_.xcb();
    const std::uint32_t window = xcb_generate_id(xcb);
    const xcb_rectangle_t at = wire(rect);
    const std::uint32_t values[] = {pixel, 0x00FFFF};
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, window, parent == 0 ? root() : parent, at.x, at.y,
                      at.width, at.height, static_cast<std::uint16_t>(border),
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL, values);
    sync();
    return window;
}

void XClient::mapWindow(std::uint32_t window) {
    xcb_map_window(connection_.xcb(), window);
    sync();
}

void XClient::unmapWindow(std::uint32_t window) {
    xcb_unmap_window(connection_.xcb(), window);
    sync();
}

void XClient::resizeWindow(std::uint32_t window, int width, int height) {
    const std::int32_t values[] = {width, height};
    xcb_configure_window(connection_.xcb(), window,
                         XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
    sync();
}

void XClient::raiseWindow(std::uint32_t window) {
    const std::uint32_t mode = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(connection_.xcb(), window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
    sync();
}

void XClient::lowerWindow(std::uint32_t window) {
    const std::uint32_t mode = XCB_STACK_MODE_BELOW;
    xcb_configure_window(connection_.xcb(), window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
    sync();
}

void XClient::reparentWindow(std::uint32_t window, std::uint32_t parent, int x, int y) {
    xcb_reparent_window(connection_.xcb(), window, parent == 0 ? root() : parent,
                        static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
    sync();
}

void XClient::shapeWindow(std::uint32_t window, const std::vector<PixelRect>& shape) {
    xcb_connection_t* xcb = connection_.xcb();
    if (shape.empty()) {
        xcb_shape_mask(xcb, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, window, 0, 0, XCB_NONE);
    } else {
        std::vector<xcb_rectangle_t> rects;
        for (const PixelRect& rect : shape)
            rects.push_back(wire(rect));
        xcb_shape_rectangles(xcb, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING,
                             XCB_CLIP_ORDERING_UNSORTED, window, 0, 0,
                             static_cast<std::uint32_t>(rects.size()), rects.data());
    }
    sync();
}

void XClient::fillWindow(std::uint32_t window, const PixelRect& rect, std::uint32_t pixel) {
    xcb_connection_t* xcb = connection_.xcb();
    const std::uint32_t context = xcb_generate_id(xcb);
    xcb_create_gc(xcb, context, window, XCB_GC_FOREGROUND, &pixel);
    const xcb_rectangle_t rectangle = wire(rect);
    xcb_poly_fill_rectangle(xcb, window, context, 1, &rectangle);
    xcb_free_gc(xcb, context);
    sync();
}

void XClient::setRootBackground(std::uint32_t pixel) {
    xcb_connection_t* xcb = connection_.xcb();
    xcb_change_window_attributes(xcb, root(), XCB_CW_BACK_PIXEL, &pixel);
    xcb_clear_area(xcb, false, root(), 0, 0, 0, 0);
    sync();
}

void XClient::setProperty(std::uint32_t window, const std::string& name,
                          const std::vector<std::uint32_t>& values) {
    xcb_change_property(connection_.xcb(), XCB_PROP_MODE_REPLACE, window, atom(name),
                        XCB_ATOM_CARDINAL, 32, static_cast<std::uint32_t>(values.size()),
                        values.data());
    sync();
}

void XClient::setStates(std::uint32_t window, const std::vector<std::string>& names) {
    std::vector<std::uint32_t> states;
    for (const std::string& name : names)
        states.push_back(atom(name));
    xcb_change_property(connection_.xcb(), XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_STATE"),
                        XCB_ATOM_ATOM, 32, static_cast<std::uint32_t>(states.size()),
                        states.data());
    sync();
}

void XClient::setText(std::uint32_t window, const std::string& name, const std::string& text) {
    xcb_change_property(connection_.xcb(), XCB_PROP_MODE_REPLACE, window, atom(name),
                        XCB_ATOM_STRING, 8, static_cast<std::uint32_t>(text.size()), text.data());
    sync();
}

void XClient::markManaged(std::uint32_t window) {
    setProperty(window, "WM_STATE", {1, 0});
}

void XClient::claimToComposite() {
    const std::uint32_t owner = makeWindow({0, 0, 1, 1}, 0, 0);
    xcb_set_selection_owner(connection_.xcb(), owner, atom("_NET_WM_CM_S0"), XCB_CURRENT_TIME);
    sync();
}

void XClient::redirectByHand() {
    xcb_connection_t* xcb = connection_.xcb();
    const Reply<xcb_composite_query_version_reply_t> version(
        xcb_composite_query_version_reply(xcb, xcb_composite_query_version(xcb, 0, 4), nullptr));
    EXPECT_TRUE(version);
    xcb_composite_redirect_subwindows(xcb, root(), XCB_COMPOSITE_REDIRECT_MANUAL);
    sync();
}

void XClient::setDesktopPicture(std::uint32_t pixel) {
    xcb_connection_t* xcb = connection_.xcb();
    const std::uint32_t pixmap = xcb_generate_id(xcb);
    xcb_create_pixmap(xcb, connection_.screen().root_depth, pixmap, root(), 16, 16);
    fillWindow(pixmap, {0, 0, 16, 16}, pixel);
    xcb_change_window_attributes(xcb, root(), XCB_CW_BACK_PIXMAP, &pixmap);
    xcb_clear_area(xcb, false, root(), 0, 0, 0, 0);
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, root(), atom("_XROOTPMAP_ID"), XCB_ATOM_PIXMAP,
                        32, 1, &pixmap);
    sync();
}

void XClient::moveWindow(std::uint32_t window, int x, int y) {
    const std::int32_t values[] = {x, y};
    xcb_configure_window(connection_.xcb(), window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                         values);
    sync();
}

void XClient::closeWindow(std::uint32_t window) {
    xcb_destroy_window(connection_.xcb(), window);
    sync();
}

void XClient::setCursor(int hotX, int hotY) {
    xcb_connection_t* xcb = connection_.xcb();
    const std::uint32_t source = xcb_generate_id(xcb);
    const std::uint32_t mask = xcb_generate_id(xcb);
    const std::uint32_t cursor = xcb_generate_id(xcb);
    const std::uint32_t context = xcb_generate_id(xcb);
    xcb_create_pixmap(xcb, 1, source, connection_.root(), 8, 8);
    xcb_create_pixmap(xcb, 1, mask, connection_.root(), 8, 8);
    const std::uint32_t zeroAndOne[] = {0, 1};
    xcb_create_gc(xcb, context, source, XCB_GC_FOREGROUND, &zeroAndOne[0]);
    const xcb_rectangle_t all{0, 0, 8, 8};
    xcb_poly_fill_rectangle(xcb, source, context, 1, &all);
    xcb_poly_fill_rectangle(xcb, mask, context, 1, &all);
    xcb_change_gc(xcb, context, XCB_GC_FOREGROUND, &zeroAndOne[1]);
    const xcb_rectangle_t upper{0, 0, 8, 7};
    xcb_poly_fill_rectangle(xcb, mask, context, 1, &upper);
    for (std::int16_t y = 0; y < 8; ++y) {
        for (std::int16_t x = y % 2; x < 8; x = static_cast<std::int16_t>(x + 2)) {
            const xcb_rectangle_t dot{x, y, 1, 1};
            xcb_poly_fill_rectangle(xcb, source, context, 1, &dot);
        }
    }
    xcb_create_cursor(xcb, cursor, source, mask, 0xFFFF, 0, 0, 0, 0, 0xFFFF,
                      static_cast<std::uint16_t>(hotX), static_cast<std::uint16_t>(hotY));
    xcb_change_window_attributes(xcb, connection_.root(), XCB_CW_CURSOR, &cursor);
    xcb_free_cursor(xcb, cursor);
    xcb_free_gc(xcb, context);
    xcb_free_pixmap(xcb, source);
    xcb_free_pixmap(xcb, mask);
    sync();
}

void XClient::movePointer(int x, int y) {
    xcb_warp_pointer(connection_.xcb(), XCB_NONE, connection_.root(), 0, 0, 0, 0,
                     static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
    sync();
}

void XClient::moveDevice(int x, int y) {
    xcb_test_fake_input(connection_.xcb(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME,
                        connection_.root(), static_cast<std::int16_t>(x),
                        static_cast<std::int16_t>(y), 0);
    sync();
}

std::uint32_t XClient::atom(const std::string& name) {
    xcb_connection_t* xcb = connection_.xcb();
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        xcb, xcb_intern_atom(xcb, false, static_cast<std::uint16_t>(name.size()), name.c_str()),
        nullptr));
    EXPECT_TRUE(reply);
    return reply ? reply->atom : 0;
}

void XClient::setMonitor(const std::string& name, const PixelRect& rect, bool primary) {
    // Put together by hand: libxcb 1.15 crashes in its own function for this request.
    struct {
        std::uint8_t majorOpcode = 0;
        std::uint8_t minorOpcode = 0;
        std::uint16_t length = 0;
        std::uint32_t window;
        std::uint32_t name;
        std::uint8_t primary;
        std::uint8_t automatic = 0;
        std::uint16_t outputs = 0;
        xcb_rectangle_t rect;
        std::uint32_t widthInMillimeters = 100;
        std::uint32_t heightInMillimeters = 100;
    } request;
    request.window = connection_.root();
    request.name = atom(name);
    request.primary = primary;
    request.rect = wire(rect);
    static_assert(sizeof request == 32);

    const xcb_protocol_request_t protocol{1, &xcb_randr_id, XCB_RANDR_SET_MONITOR, true};
    iovec parts[3]{};  // XCB uses the two in front
    parts[2] = {&request, sizeof request};
    xcb_send_request(connection_.xcb(), 0, &parts[2], &protocol);
    sync();
}

void XClient::replaceMonitor(const std::string& name, const PixelRect& rect) {
    xcb_grab_server(connection_.xcb());
    deleteMonitor(name);
    setMonitor(name, rect);
    xcb_ungrab_server(connection_.xcb());
    sync();
}

void XClient::deleteMonitor(const std::string& name) {
    xcb_randr_delete_monitor(connection_.xcb(), connection_.root(), atom(name));
    sync();
}

}  // namespace quorvane::platform::x11
