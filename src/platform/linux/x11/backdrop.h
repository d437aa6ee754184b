// What lies beneath all windows: the picture that a desktop has set (_XROOTPMAP_ID), else the root
// window's own background.
// Why a helper window: nobody can ask for the root window's background; but a window can have its
// parent's, and one that is redirected by hand is never seen.
// Units: root pixels. Threads: the connection's. Errors: what the server refuses is ignored, and
// the backdrop is grey; PlatformError when the connection is lost.
#pragma once

#include <cstdint>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/pixel_rect.h"
#include "platform/linux/x11/render_formats.h"

namespace quorvane::platform::x11 {

class Backdrop {
  public:
    // What the connection must select of the root window.
    static const std::uint32_t rootEvents;

    // The formats outlive it.
    Backdrop(const Connection& connection, const RenderFormats& formats);
    ~Backdrop();
    Backdrop(const Backdrop&) = delete;
    Backdrop& operator=(const Backdrop&) = delete;

    bool handle(const Event& event);
    // Another picture has been set since the last update().
    bool noticed() const { return noticed_; }
    // With a compositing manager there is no helper window: the manager would show it.
    void update(bool compositingManagerRuns);
    // The root window has been drawn on; its background may be another.
    void refresh();
    // The helper window; 0 when there is none.
    std::uint32_t helper() const { return helper_; }
    // Paints that area of it at the picture's origin, as far as the picture's clip goes.
    void paint(std::uint32_t picture, const PixelRect& area) const;

  private:
    void release();
    bool usePixmapOfDesktop();
    void useHelperWindow();

    const Connection& connection_;
    const RenderFormats& formats_;
    std::uint32_t pixmapAtom_;
    bool noticed_ = true;
    std::uint32_t picture_ = 0;  // 0: grey
    std::uint32_t helper_ = 0;
    std::uint32_t helperPixmap_ = 0;
};

}  // namespace quorvane::platform::x11
