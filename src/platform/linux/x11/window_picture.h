// One window's own picture, whatever covers it, wherever it is: the pixmap into which the server
// draws a redirected window, with the decorations that a window manager has put around it.
// The window is redirected as long as this exists. While it is minimised the last picture stands.
// Why some pixels are hidden: the pixmap is a rectangle, and outside of a window's shape, or where
// a window that was just redirected has not been drawn again, it shows what happened to be there.
// Threads: the connection's. Errors: PlatformError, also when the window is closed.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/damage_tracker.h"
#include "platform/linux/x11/painting_watch.h"
#include "platform/linux/x11/picture_content.h"
#include "platform/linux/x11/server_region.h"
#include "platform/linux/x11/window_frame.h"
#include "support/dispatch.h"

namespace quorvane::platform::x11 {

class WindowPicture final : public PictureContent {
  public:
    // The clock outlives it. Throws when there is no such window.
    WindowPicture(const Connection& connection, std::uint32_t window, const support::Clock& clock);
    ~WindowPicture() override;
    WindowPicture(const WindowPicture&) = delete;
    WindowPicture& operator=(const WindowPicture&) = delete;

    const PictureSource& source() const override { return source_; }
    bool handle(const Event& event) override;
    bool check() override;
    bool noticed() const override;
    std::optional<support::MediaTime> nextQuestion() const override;
    void request() override;
    void receive(RectVisitor& visitor) override;
    // Not while the window is minimised, which managers do step by step, nor while it is being
    // drawn again after that.
    bool isReady() const override {
        return ready_ && !waitsUntil_ &&
               (source_.drawable == 0 || (frame_.viewable && frame_.showsWindow));
    }
    // What its frame shows without the window is not it.
    bool mayBeShown() override { return !disappearanceNoticed_; }
    bool showsCursorOver(std::uint32_t topLevel) const override {
        return topLevel != 0 && topLevel == topLevel_;
    }

  private:
    // Brings what is known of the window up to date.
    void follow();
    void enter(std::uint32_t topLevel);
    void leave();
    bool nameThePicture();
    void askForShape();
    void awaitDrawing();
    void awaitRedrawing();
    void beginWaiting();
    void stopWaiting();
    void findUndrawn();
    PixelRect inside() const;
    void adopt();
    [[noreturn]] void throwClosed() const;

    const Connection& connection_;
    const support::Clock& clock_;
    const std::uint32_t window_;
    const WindowFrameAtoms atoms_;
    std::uint8_t shapeNoticeType_ = 0;  // 0: no shapes

    PictureSource source_;
    bool ready_ = false;

    std::uint32_t topLevel_ = 0;
    WindowFrame frame_;
    std::uint32_t pixmap_ = 0;
    std::optional<DamageTracker> damage_;

    bool closed_ = false;
    bool parentNoticed_ = true;
    bool structureNoticed_ = true;
    bool shapeNoticed_ = true;
    bool disappearanceNoticed_ = false;
    bool unmapNoticed_ = false;  // of the top level

    // What of the pixmap is hidden, on the pixmap: outside of the shape, or not drawn yet.
    ServerRegion outside_;
    ServerRegion undrawn_;
    // While it is not viewable, and until it is drawn after that, or redrawn after unfolding.
    std::optional<PaintingWatch> watch_;
    std::vector<PixelRect> hidden_;
    bool entered_ = false;  // just now
    bool redirectedByOthers_ = false;
    bool isUndrawn_ = false;  // undrawn_ is not empty
    bool newSource_ = false;  // to be adopted when it is drawn, or when it was waited for
    std::optional<support::MediaTime> waitsUntil_;
    bool asksForHidden_ = false;
    bool asksForDamage_ = false;
    unsigned outsideRequest_ = 0;
    unsigned undrawnRequest_ = 0;
};

}  // namespace quorvane::platform::x11
