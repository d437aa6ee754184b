// A region of a display, as the screen shows it.
// Threads: the connection's. Errors: PlatformError.
#pragma once

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/damage_tracker.h"
#include "platform/linux/x11/display_watch.h"
#include "platform/linux/x11/picture_content.h"
#include "platform/shareable_content.h"

namespace quorvane::platform::x11 {

// The part of the root window that is captured, and what of it is on the display and exists.
// The rectangle is relative to the display (points, which are pixels).
PictureSource displaySource(const Connection& connection, const Display& display,
                            const support::Rect& sourceRect);

class DisplayPicture final : public PictureContent {
  public:
    DisplayPicture(const Connection& connection, const Display& display,
                   const support::Rect& sourceRect, std::uint32_t furtherRootEvents = 0);

    const PictureSource& source() const override { return source_; }
    bool handle(const Event& event) override;
    bool check() override { return watch_.check(); }
    bool noticed() const override { return damage_.noticed(); }
    std::optional<support::MediaTime> nextQuestion() const override { return std::nullopt; }
    void request() override { damage_.request(); }
    void receive(RectVisitor& visitor) override;
    bool isReady() const override { return true; }
    bool mayBeShown() override { return true; }
    bool showsCursorOver(std::uint32_t) const override { return true; }

  private:
    const PictureSource source_;
    DisplayWatch watch_;
    DamageTracker damage_;
};

}  // namespace quorvane::platform::x11
