// A part of the screen put together anew from the windows' own pictures, on the server: without
// some windows, or with those of some processes alone.
// The root window's children are redirected as long as this exists. Only what has changed is drawn.
// Without a compositing manager the server shows every window opaque, and so does this; with one,
// alpha and _NET_WM_WINDOW_OPACITY count.
// Units: root pixels; the rectangles that it gives are relative to the area. Threads: the
// connection's. Errors: PlatformError when the connection is lost.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/x11/backdrop.h"
#include "platform/linux/x11/composed_window.h"
#include "platform/linux/x11/compositing_manager.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/mapping_watches.h"
#include "platform/linux/x11/rect_visitor.h"
#include "platform/linux/x11/render_formats.h"
#include "platform/linux/x11/server_region.h"
#include "platform/linux/x11/window_stack.h"
#include "support/dispatch.h"

namespace quorvane::platform::x11 {

class ComposedPicture {
  public:
    // What the connection must have selected of the root window.
    static const std::uint32_t rootEvents;

    // The area is not empty and lies on the root window. With processes only their windows are
    // shown, over black; without any all are, over the backdrop. The clock outlives it.
    ComposedPicture(const Connection& connection, const PixelRect& area,
                    std::vector<std::int32_t> processes, const support::Clock& clock);
    ~ComposedPicture();
    ComposedPicture(const ComposedPicture&) = delete;
    ComposedPicture& operator=(const ComposedPicture&) = delete;

    // Has the form of the root window's pixels and the area's size.
    std::uint32_t pixmap() const { return pixmap_; }

    // The screen is what such a program paints, some time after windows have changed.
    bool compositingManagerRuns() const { return manager_.runs(); }

    // These children of the root window are left out from the next request() on.
    void exclude(std::vector<std::uint32_t> topLevels);

    // Nothing is asked of it until the next request(), and nothing more is watched.
    void pause();

    bool handle(const Event& event);
    bool noticed() const;
    std::optional<support::MediaTime> nextQuestion() const;
    // Brings the picture up to date.
    void request();
    // Waits until it is, and gives what has changed.
    void receive(RectVisitor& visitor);
    // Not while windows that were just redirected are still being painted.
    bool isReady() const { return !waitsUntil_; }

  private:
    bool showsAll() const { return processes_.empty(); }
    // What the root window itself shows matters: it is not covered by what a manager paints.
    bool showsRoot() const { return showsAll() && !manager_.runs(); }
    bool isShown(const TopLevel& window) const;
    void redirect();
    // Its pixmap is new, and shows what the screen showed until it is painted.
    void awaitPainting(ComposedWindow& window);
    void awaitRepainting(ComposedWindow& window);
    // Nothing of the window is seen when it is mapped.
    void noteCovered(std::uint32_t mapped);
    // What of the window is inside of its border, and within, relative to that.
    void assignInside(ServerRegion& region, const ComposedWindow& window,
                      const ServerRegion& within) const;
    void endPatience();
    void takePaintings();
    void restack();
    void findSecret();
    // Relative to the area.
    void assignShapeTo(ServerRegion& region, const TopLevel& state) const;
    // Takes the windows over in their stacking. Gives for each whether it has changed itself.
    std::vector<bool> takeWindows();
    void takeDamage();
    void paint();
    void requestUnpainted();
    void receiveUnpainted();

    const Connection& connection_;
    const PixelRect area_;
    const std::vector<std::int32_t> processes_;  // empty: all
    const support::Clock& clock_;
    std::uint8_t damageNoticeType_;
    const RenderFormats formats_;
    CompositingManager manager_;
    WindowStack stack_;
    MappingWatches watches_;
    Backdrop backdrop_;
    const std::uint32_t rootDamage_;

    std::uint32_t pixmap_;
    std::uint32_t picture_;
    std::uint32_t context_;
    std::vector<std::unique_ptr<ComposedWindow>> windows_;  // bottom to top
    std::vector<std::uint32_t> order_;                      // theirs, at the last restacking
    std::vector<std::uint32_t> excluded_;

    ServerRegion dirty_;       // is to be drawn
    ServerRegion background_;  // no window is opaque there
    ServerRegion free_;        // no window is there at all
    // Where a new pixmap may show what must not be shown; at the last restacking alone.
    ServerRegion secret_;
    ServerRegion secretNow_;
    struct SecretWindow {
        std::uint32_t window;
        PixelRect outer;
        int border;
        unsigned shapings;
        bool operator==(const SecretWindow&) const = default;
    };
    std::vector<SecretWindow> secretWindows_;
    ServerRegion lingering_;  // was secret before, and may still be seen
    support::MediaTime lingersUntil_{};
    ServerRegion cover_;
    ServerRegion part_;

    bool firstLook_ = true;
    bool paused_ = false;
    bool rootNoticed_ = false;
    bool exclusionChanged_ = false;
    bool managerChanged_ = false;
    bool backdropRefreshed_ = false;
    std::optional<support::MediaTime> waitsUntil_;
    unsigned dirtyRequest_ = 0;
    std::optional<unsigned> rootRequest_;
    struct UnpaintedRequest {
        ComposedWindow* window;
        unsigned request;
    };
    std::vector<UnpaintedRequest> unpaintedRequests_;
};

}  // namespace quorvane::platform::x11
