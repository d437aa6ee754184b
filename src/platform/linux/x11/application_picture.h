// The windows of some processes on a display, in their places and stacking, over black.
// Threads: the connection's. Errors: PlatformError.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/x11/composed_picture.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/display_watch.h"
#include "platform/linux/x11/picture_content.h"
#include "platform/shareable_content.h"
#include "support/dispatch.h"

namespace quorvane::platform::x11 {

class ApplicationPicture final : public PictureContent {
  public:
    // The source rectangle is relative to the display. The clock outlives it.
    ApplicationPicture(const Connection& connection, const Display& display,
                       const support::Rect& sourceRect, std::vector<std::int32_t> processes,
                       const support::Clock& clock);

    const PictureSource& source() const override { return source_; }
    bool handle(const Event& event) override;
    bool handlesEventsAtOnce() const override { return true; }
    bool check() override { return watch_.check(); }
    bool noticed() const override { return composed_ && composed_->noticed(); }
    std::optional<support::MediaTime> nextQuestion() const override;
    void request() override { composed_->request(); }
    void receive(RectVisitor& visitor) override { composed_->receive(visitor); }
    bool isReady() const override { return !composed_ || composed_->isReady(); }
    bool mayBeShown() override { return true; }
    bool showsCursorOver(std::uint32_t) const override { return true; }

  private:
    PictureSource source_;
    DisplayWatch watch_;
    std::optional<ComposedPicture> composed_;  // none where nothing of the display is captured
};

// The source of a picture that was put together of what exists of another source.
PictureSource composedSource(const PictureSource& source, const ComposedPicture& composed);

}  // namespace quorvane::platform::x11
