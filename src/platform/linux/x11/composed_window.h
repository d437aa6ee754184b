// One window in a composed picture: what the server keeps for it.
// Units: pixels; its regions are relative to the composed area but for the shape. Threads: the
// connection's. Errors: what the server refuses is ignored, because the window may vanish any time.
#pragma once

#include <cstdint>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/render_formats.h"
#include "platform/linux/x11/server_region.h"
#include "platform/linux/x11/window_stack.h"

namespace quorvane::platform::x11 {

class ComposedWindow {
  public:
    // Its damage begins with nothing, or with what of it is visible.
    ComposedWindow(const Connection& connection, std::uint32_t window, bool beginsWithVisible);
    ~ComposedWindow();
    ComposedWindow(const ComposedWindow&) = delete;
    ComposedWindow& operator=(const ComposedWindow&) = delete;

    std::uint32_t window() const { return state_.window; }
    std::uint32_t damage() const { return damage_; }
    const TopLevel& state() const { return state_; }
    bool isOpaque() const { return opaque_; }

    // Takes over how the window is now. Whether it differs from before in anything but its
    // stacking. `anew`: its picture may be another one though nothing else differs.
    bool update(const TopLevel& state, const RenderFormats& formats, bool showsAlpha, bool anew);

    // Before the first update(): the window is being redirected. What of it was visible stays; the
    // rest shows what happened to be on the screen until it is painted.
    void awaitPainting() { unpainted_ = true; }
    bool isUnpainted() const { return unpainted_; }
    void endAwaiting() { unpainted_ = false; }
    // Takes what was drawn since the last time; gives it relative to the area.
    void takeDamage(ServerRegion& drawn, const PixelRect& area);
    // What of the window is not painted yet.
    const ServerRegion& unpaintedRegion() const { return unpaintedRegion_; }
    void assignUnpaintedTo(ServerRegion& region, const PixelRect& area) const;

    // The whole window, relative to the area.
    void assignShapeTo(ServerRegion& region, const PixelRect& area) const;
    // Draws it, as far as the picture's clip goes.
    void paint(std::uint32_t picture, const PixelRect& area) const;

    // What of it is to be seen, and what was before the last change.
    ServerRegion visible;
    ServerRegion before;
    bool noticed = false;  // it was drawn on

  private:
    void namePicture(const RenderFormat& format);
    void releasePicture();

    const Connection& connection_;
    TopLevel state_;
    bool known_ = false;
    bool showsAlpha_ = false;
    bool opaque_ = true;
    bool unpainted_ = false;
    std::uint32_t damage_;
    std::uint32_t pixmap_ = 0;
    std::uint32_t picture_ = 0;
    std::uint32_t mask_ = 0;  // its opacity; 0: none
    ServerRegion shape_;
    ServerRegion unpaintedRegion_;
};

}  // namespace quorvane::platform::x11
