// A region of a display without some windows: as the screen shows it while none of them is on the
// screen, else put together anew without them.
// Why it watches for all of them all the time: a window may be opened, or restored, under an
// identifier that is left out already, and must not be in a single picture.
// Threads: the connection's. Errors: PlatformError.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/x11/composed_picture.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/display_picture.h"
#include "platform/linux/x11/picture_content.h"
#include "platform/shareable_content.h"
#include "support/dispatch.h"

namespace quorvane::platform::x11 {

class ExcludingPicture final : public PictureContent {
  public:
    // The identifiers are the programs' own windows'; none of them needs to exist. The clock
    // outlives it.
    ExcludingPicture(const Connection& connection, const Display& display,
                     const support::Rect& sourceRect, std::vector<std::uint32_t> windows,
                     const support::Clock& clock);

    const PictureSource& source() const override { return source_; }
    bool handle(const Event& event) override;
    bool handlesEventsAtOnce() const override { return composes_; }
    bool check() override { return display_.check(); }
    bool noticed() const override;
    std::optional<support::MediaTime> nextQuestion() const override;
    void request() override;
    void receive(RectVisitor& visitor) override;
    bool isReady() const override { return !composes_ || composed_->isReady(); }
    // A window that came since the pixels were asked for may be one that is to be left out, and be
    // among them.
    bool mayBeShown() override { return !appearanceNoticed_; }
    bool showsCursorOver(std::uint32_t) const override { return true; }

  private:
    // Finds the windows where they are now.
    void findWindows();
    void useComposed(bool composes);

    const Connection& connection_;
    const std::vector<std::uint32_t> windows_;
    const support::Clock& clock_;
    DisplayPicture display_;
    // Made when it is needed for the first time and kept: windows flicker when they are redirected.
    std::optional<ComposedPicture> composed_;

    PictureSource source_;
    std::vector<std::uint32_t> topLevels_;  // what is left out, as far as it is on the screen
    bool composes_ = false;
    bool windowsNoticed_ = true;
    bool appearanceNoticed_ = false;  // since the last request()
};

}  // namespace quorvane::platform::x11
