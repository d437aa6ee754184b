#include "platform/linux/x11/composed_window.h"

#include <utility>

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/render.h>
#include <xcb/xcb.h>

namespace quorvane::platform::x11 {

ComposedWindow::ComposedWindow(const Connection& connection, const TopLevel& state)
    : visible(connection),
      before(connection),
      connection_(connection),
      state_(state),
      damage_(xcb_generate_id(connection.xcb())),
      shape_(connection) {
    xcb_connection_t* xcb = connection.xcb();
    xcb_damage_create(xcb, damage_, state.window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    // What is visible is no news.
    xcb_damage_subtract(xcb, damage_, XCB_NONE, XCB_NONE);
}

ComposedWindow::~ComposedWindow() {
    releasePicture();
    xcb_damage_destroy(connection_.xcb(), damage_);
}

void ComposedWindow::releasePicture() {
    xcb_connection_t* xcb = connection_.xcb();
    if (const auto mask = std::exchange(mask_, 0)) xcb_render_free_picture(xcb, mask);
    if (const auto picture = std::exchange(picture_, 0)) xcb_render_free_picture(xcb, picture);
    if (const auto pixmap = std::exchange(pixmap_, 0)) xcb_free_pixmap(xcb, pixmap);
}

bool ComposedWindow::update(const TopLevel& state, const RenderFormats& formats, bool showsAlpha,
                            bool anew) {
    const TopLevel old = std::exchange(state_, state);
    const bool first = !std::exchange(known_, true);
    resized_ = state.outer.width != old.outer.width || state.outer.height != old.outer.height ||
               state.border != old.border;
    const bool reshaped = first || resized_ || state.shapings != old.shapings;
    const bool renamed =
        first || anew || resized_ || state.opacity != old.opacity || showsAlpha != showsAlpha_;
    showsAlpha_ = showsAlpha;
    if (reshaped) shape_.assignShapeOf(state.window);
    if (renamed) {
        const RenderFormat format = formats.ofVisual(state.visual);
        releasePicture();
        namePicture(format);
        opaque_ = !showsAlpha || (!format.hasAlpha && state.opacity == 0xFFFFFFFF);
    }
    return reshaped || renamed || state.outer != old.outer;
}

void ComposedWindow::namePicture(const RenderFormat& format) {
    if (format.id == 0) return;
    xcb_connection_t* xcb = connection_.xcb();
    pixmap_ = xcb_generate_id(xcb);
    picture_ = xcb_generate_id(xcb);
    xcb_composite_name_window_pixmap(xcb, state_.window, pixmap_);
    xcb_render_create_picture(xcb, picture_, pixmap_, format.id, 0, nullptr);
    if (showsAlpha_ && state_.opacity != 0xFFFFFFFF) {
        mask_ = xcb_generate_id(xcb);
        const auto alpha = static_cast<std::uint16_t>(state_.opacity >> 16);
        xcb_render_create_solid_fill(xcb, mask_, {0, 0, 0, alpha});
    }
}

void ComposedWindow::takeDamage(ServerRegion& drawn, const PixelRect& area) {
    noticed = false;
    xcb_damage_subtract(connection_.xcb(), damage_, XCB_NONE, drawn.id());
    moveToArea(drawn, area);
}

void ComposedWindow::assignInsideTo(ServerRegion& region) const {
    region.assign(PixelRect{0, 0, state_.outer.width - 2 * state_.border,
                            state_.outer.height - 2 * state_.border});
    region.intersect(shape_);
}

void ComposedWindow::assignShapeTo(ServerRegion& region, const PixelRect& area) const {
    region.assign(shape_);
    moveToArea(region, area);
}

void ComposedWindow::moveToArea(ServerRegion& region, const PixelRect& area) const {
    region.moveBy(state_.outer.x + state_.border - area.x, state_.outer.y + state_.border - area.y);
}

void ComposedWindow::moveFromArea(ServerRegion& region, const PixelRect& area) const {
    region.moveBy(area.x - state_.outer.x - state_.border, area.y - state_.outer.y - state_.border);
}

void ComposedWindow::paint(std::uint32_t picture, const PixelRect& area) const {
    if (picture_ == 0) return;
    xcb_render_composite(
        connection_.xcb(), opaque_ ? XCB_RENDER_PICT_OP_SRC : XCB_RENDER_PICT_OP_OVER, picture_,
        mask_, picture, 0, 0, 0, 0, static_cast<std::int16_t>(state_.outer.x - area.x),
        static_cast<std::int16_t>(state_.outer.y - area.y),
        static_cast<std::uint16_t>(state_.outer.width),
        static_cast<std::uint16_t>(state_.outer.height));
}

}  // namespace quorvane::platform::x11
