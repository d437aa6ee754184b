// Knows where the cursor is and what it looks like.
// Why both events and questions: the server tells at once of a new image and of every movement of
// a device, but not of a pointer that a program has put elsewhere; so its place is asked for, too,
// once a frame interval.
// Units: root pixels, host time. Threads: the connection's. Errors: PlatformError.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "pixels/cursor_blend.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/pixel_rect.h"
#include "support/media_time.h"

namespace quorvane::platform::x11 {

class CursorTracker {
  public:
    CursorTracker(const Connection& connection, std::chrono::nanoseconds questionInterval);
    CursorTracker(const CursorTracker&) = delete;
    CursorTracker& operator=(const CursorTracker&) = delete;

    // Whether the event was one of ours.
    bool handle(const Event& event);
    // The cursor may have changed since the last request().
    bool noticed() const { return moved_ || imageChanged_; }
    // When to ask even if nothing is noticed.
    support::MediaTime nextQuestion() const { return nextQuestion_; }

    void request(support::MediaTime now);
    // Waits for the answer. Whether the cursor differs from what it was before in place or image.
    bool receive();

    // What the cursor covers; empty when there is none.
    const PixelRect& rect() const { return rect_; }
    // The child of the root window that the pointer is in; 0 when it is in none.
    std::uint32_t topLevelUnder() const { return topLevelUnder_; }
    pixels::CursorPixels image() const { return {pixels_, imageWidth_, imageHeight_}; }

  private:
    void selectDeviceMotion();
    bool receiveImage();

    const Connection& connection_;
    const std::chrono::nanoseconds questionInterval_;
    std::uint8_t noticeType_;
    std::uint8_t inputOpcode_ = 0;  // 0: no extension tells of devices
    support::MediaTime nextQuestion_{};
    bool moved_ = true;
    bool imageChanged_ = true;

    bool imageRequested_ = false;
    unsigned pointerSequence_ = 0;
    unsigned imageSequence_ = 0;

    std::vector<std::uint32_t> pixels_;
    int imageWidth_ = 0;
    int imageHeight_ = 0;
    int hotX_ = 0;
    int hotY_ = 0;
    PixelRect rect_;
    std::uint32_t topLevelUnder_ = 0;
};

}  // namespace quorvane::platform::x11
