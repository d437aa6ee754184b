// What a capture shows: where its pixels lie on the server, and which of them have changed.
// Units: pixels. Threads: the connection's. Errors: PlatformError when it cannot go on.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "pixels/packed_pixels.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/pixel_rect.h"
#include "platform/linux/x11/rect_visitor.h"
#include "support/media_time.h"

namespace quorvane::platform::x11 {

// The rectangles are those of the drawable.
struct PictureSource {
    unsigned version = 0;        // another one for each change of what follows but for the origin
    std::uint32_t drawable = 0;  // 0: there is nothing to see, and the picture is black
    PixelRect rect;              // what is captured
    PixelRect existing;          // the part of it that exists; the rest is black
    std::vector<PixelRect> hidden;  // what of that is black all the same
    pixels::PackedFormat format = pixels::PackedFormat::xrgb8888;
    bool keepsAspect = false;  // in the output, with black around it; else it fills the output
    int rootX = 0;             // where the drawable's upper left pixel lies on the root window
    int rootY = 0;
};

class PictureContent {
  public:
    virtual ~PictureContent() = default;

    virtual const PictureSource& source() const = 0;

    // Whether the event was one of its own.
    virtual bool handle(const Event& event) = 0;
    // Whether events are to be handled as they come, also while no picture is due.
    virtual bool handlesEventsAtOnce() const { return false; }
    // Throws when there is nothing to record any more. True when it asked the server, whose answers
    // may have brought further events along.
    virtual bool check() = 0;
    // Something may have changed since the last request().
    virtual bool noticed() const = 0;
    // When to ask even if nothing is noticed.
    virtual std::optional<support::MediaTime> nextQuestion() const = 0;

    // Asks what has changed.
    virtual void request() = 0;
    // Waits for the answer and gives the rectangles that have changed; the source may be another.
    virtual void receive(RectVisitor& visitor) = 0;
    // Whether there is a picture yet.
    virtual bool isReady() const = 0;
    // Called when pixels were fetched and all events up to then were handled: false when they show
    // what must not be shown.
    virtual bool mayBeShown() = 0;

    // Whether the cursor is seen while it is over that child of the root window (0: none).
    virtual bool showsCursorOver(std::uint32_t topLevel) const = 0;
};

}  // namespace quorvane::platform::x11
