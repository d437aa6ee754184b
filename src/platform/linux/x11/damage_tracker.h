// Learns from the server what has been drawn on a window.
// Why "not empty" notices: the server sends one, however much is drawn, until we have asked where;
// and the answer is exact rectangles.
// Units: pixels from inside the window's border. Threads: the connection's. Errors: PlatformError.
#pragma once

#include <cstdint>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/rect_visitor.h"
#include "platform/linux/x11/server_region.h"

namespace quorvane::platform::x11 {

class DamageTracker {
  public:
    enum class Begin { empty, withWhatIsVisible };

    // Everything that is drawn from now on is damage. Throws when there is no such window.
    DamageTracker(const Connection& connection, std::uint32_t window, Begin begin = Begin::empty);
    ~DamageTracker();
    DamageTracker(const DamageTracker&) = delete;
    DamageTracker& operator=(const DamageTracker&) = delete;

    // Whether the event was one of ours.
    bool handle(const Event& event);
    // Something was drawn since the last request().
    bool noticed() const { return noticed_; }

    // Asks for what was drawn. What is drawn after that is noticed anew.
    void request();
    // What was drawn before the last request().
    const ServerRegion& region() const { return region_; }
    // Waits for the answer and calls visit(PixelRect) for each rectangle.
    template <class Visit>
    void receive(Visit visit) {
        RectVisitorOf<Visit> visitor(visit);
        region_.receiveRects(requestSequence_, visitor);
    }

  private:
    const Connection& connection_;
    std::uint8_t noticeType_;
    std::uint32_t damage_;
    ServerRegion region_;
    unsigned requestSequence_ = 0;
    bool noticed_ = false;
};

}  // namespace quorvane::platform::x11
