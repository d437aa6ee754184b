#include "platform/linux/x11/backdrop.h"

#include <utility>

#include <xcb/composite.h>
#include <xcb/render.h>
#include <xcb/shape.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/atoms.h"
#include "platform/linux/x11/reply.h"

namespace quorvane::platform::x11 {
namespace {

// What compositing managers show where no desktop has set a picture.
constexpr xcb_render_color_t grey{0x8080, 0x8080, 0x8080, 0xFFFF};

}  // namespace

const std::uint32_t Backdrop::rootEvents = XCB_EVENT_MASK_PROPERTY_CHANGE;

Backdrop::Backdrop(const Connection& connection, const RenderFormats& formats)
    : connection_(connection),
      formats_(formats),
      pixmapAtom_(atomOf(connection, "_XROOTPMAP_ID")) {}

Backdrop::~Backdrop() {
    release();
}

bool Backdrop::handle(const Event& event) {
    if (event.type != XCB_PROPERTY_NOTIFY) return false;
    const auto& notice = *static_cast<const xcb_property_notify_event_t*>(event.record);
    if (notice.window != connection_.root() || notice.atom != pixmapAtom_) return false;
    noticed_ = true;
    return true;
}

void Backdrop::update(bool compositingManagerRuns) {
    noticed_ = false;
    release();
    if (!usePixmapOfDesktop() && !compositingManagerRuns) useHelperWindow();
    connection_.throwIfLost();
}

void Backdrop::release() {
    xcb_connection_t* xcb = connection_.xcb();
    if (const auto picture = std::exchange(picture_, 0)) xcb_render_free_picture(xcb, picture);
    if (const auto pixmap = std::exchange(helperPixmap_, 0)) xcb_free_pixmap(xcb, pixmap);
    if (const auto helper = std::exchange(helper_, 0)) xcb_destroy_window(xcb, helper);
}

bool Backdrop::usePixmapOfDesktop() {
    xcb_connection_t* xcb = connection_.xcb();
    const Reply<xcb_get_property_reply_t> property(xcb_get_property_reply(
        xcb, xcb_get_property(xcb, false, connection_.root(), pixmapAtom_, XCB_ATOM_PIXMAP, 0, 1),
        nullptr));
    if (!property || property->format != 32 || xcb_get_property_value_length(property.get()) != 4) {
        return false;
    }
    const auto pixmap = *static_cast<const std::uint32_t*>(xcb_get_property_value(property.get()));
    const xcb_screen_t& screen = connection_.screen();
    const Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(xcb, xcb_get_geometry(xcb, pixmap), nullptr));
    if (!geometry || geometry->depth != screen.root_depth) return false;
    const std::uint32_t picture = xcb_generate_id(xcb);
    const std::uint32_t repeat = XCB_RENDER_REPEAT_NORMAL;
    const auto cookie = xcb_render_create_picture_checked(xcb, picture, pixmap,
                                                          formats_.ofVisual(screen.root_visual).id,
                                                          XCB_RENDER_CP_REPEAT, &repeat);
    const Reply<xcb_generic_error_t> refusal(xcb_request_check(xcb, cookie));
    if (refusal) return false;
    picture_ = picture;
    return true;
}

void Backdrop::useHelperWindow() {
    xcb_connection_t* xcb = connection_.xcb();
    const xcb_screen_t& screen = connection_.screen();
    helper_ = xcb_generate_id(xcb);
    const std::uint32_t values[] = {XCB_BACK_PIXMAP_PARENT_RELATIVE, true};
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, helper_, connection_.root(), 0, 0,
                      screen.width_in_pixels, screen.height_in_pixels, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT, values);
    const auto redirection =
        xcb_composite_redirect_window_checked(xcb, helper_, XCB_COMPOSITE_REDIRECT_MANUAL);
    const Reply<xcb_generic_error_t> refusal(xcb_request_check(xcb, redirection));
    if (refusal) {
        // Another program redirects by hand, and would show the window.
        xcb_destroy_window(xcb, std::exchange(helper_, 0));
        return;
    }
    // It takes no input, and lies below everything.
    if (connection_.has(xcb_shape_id)) {
        xcb_shape_rectangles(xcb, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
                             helper_, 0, 0, 0, nullptr);
    }
    const std::uint32_t below = XCB_STACK_MODE_BELOW;
    xcb_configure_window(xcb, helper_, XCB_CONFIG_WINDOW_STACK_MODE, &below);
    xcb_map_window(xcb, helper_);
    helperPixmap_ = xcb_generate_id(xcb);
    xcb_composite_name_window_pixmap(xcb, helper_, helperPixmap_);
    const std::uint32_t picture = xcb_generate_id(xcb);
    const auto cookie = xcb_render_create_picture_checked(
        xcb, picture, helperPixmap_, formats_.ofVisual(screen.root_visual).id, 0, nullptr);
    const Reply<xcb_generic_error_t> noPicture(xcb_request_check(xcb, cookie));
    if (noPicture) return;
    picture_ = picture;
    // A root window without a background leaves in it what the screen shows, windows and all.
    const xcb_rectangle_t all{0, 0, screen.width_in_pixels, screen.height_in_pixels};
    xcb_render_fill_rectangles(xcb, XCB_RENDER_PICT_OP_SRC, picture, grey, 1, &all);
    refresh();
}

void Backdrop::refresh() {
    if (helper_ != 0) xcb_clear_area(connection_.xcb(), false, helper_, 0, 0, 0, 0);
}

void Backdrop::paint(std::uint32_t picture, const PixelRect& area) const {
    xcb_connection_t* xcb = connection_.xcb();
    const auto width = static_cast<std::uint16_t>(area.width);
    const auto height = static_cast<std::uint16_t>(area.height);
    if (picture_ == 0) {
        const xcb_rectangle_t all{0, 0, width, height};
        xcb_render_fill_rectangles(xcb, XCB_RENDER_PICT_OP_SRC, picture, grey, 1, &all);
        return;
    }
    xcb_render_composite(xcb, XCB_RENDER_PICT_OP_SRC, picture_, XCB_NONE, picture,
                         static_cast<std::int16_t>(area.x), static_cast<std::int16_t>(area.y), 0, 0,
                         0, 0, width, height);
}

}  // namespace quorvane::platform::x11
