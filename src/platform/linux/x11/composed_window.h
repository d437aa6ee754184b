// One window in a composed picture: what the server keeps for it.
// Units: pixels; its regions are relative to the composed area but for the shape. Threads: the
// connection's. Errors: what the server refuses is ignored, because the window may vanish any time.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/painting_watch.h"
#include "platform/linux/x11/render_formats.h"
#include "platform/linux/x11/server_region.h"
#include "platform/linux/x11/window_stack.h"

namespace quorvane::platform::x11 {

class ComposedWindow {
  public:
    ComposedWindow(const Connection& connection, const TopLevel& state);
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

    // Not all of it is painted: what the watch says is missing is not to be shown.
    void awaitPainting(std::unique_ptr<PaintingWatch> watch) { watch_ = std::move(watch); }
    PaintingWatch* watch() const { return watch_.get(); }
    void endAwaiting() { watch_.reset(); }
    // The last update() gave it another size, and so a new pixmap.
    bool wasResized() const { return resized_; }
    // What of it is inside of its border, relative to that.
    void assignInsideTo(ServerRegion& region) const;

    // Takes what was drawn since the last time; gives it relative to the area.
    void takeDamage(ServerRegion& drawn, const PixelRect& area);
    // The whole window, relative to the area.
    void assignShapeTo(ServerRegion& region, const PixelRect& area) const;
    // Between what is relative to its inside and what is relative to the area.
    void moveToArea(ServerRegion& region, const PixelRect& area) const;
    void moveFromArea(ServerRegion& region, const PixelRect& area) const;
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
    std::unique_ptr<PaintingWatch> watch_;
    bool known_ = false;
    bool showsAlpha_ = false;
    bool opaque_ = true;
    bool resized_ = false;
    std::uint32_t damage_;
    std::uint32_t pixmap_ = 0;
    std::uint32_t picture_ = 0;
    std::uint32_t mask_ = 0;  // its opacity; 0: none
    ServerRegion shape_;
};

}  // namespace quorvane::platform::x11
