// Learns from the server what has been drawn on the root window.
// Why "not empty" notices: the server sends one, however much is drawn, until we have asked where;
// and the answer is exact rectangles.
// Units: root pixels. Threads: the connection's. Errors: PlatformError.
#pragma once

#include <cstdint>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/pixel_rect.h"

namespace quorvane::platform::x11 {

class DamageTracker {
  public:
    // Everything that is drawn from now on is damage.
    explicit DamageTracker(const Connection& connection);
    DamageTracker(const DamageTracker&) = delete;
    DamageTracker& operator=(const DamageTracker&) = delete;

    // Whether the event was one of ours.
    bool handle(const Event& event);
    // Something was drawn since the last request().
    bool noticed() const { return noticed_; }

    // Asks for what was drawn. What is drawn after that is noticed anew.
    void request();
    // Waits for the answer and calls visit(PixelRect) for each rectangle.
    template <class Visit>
    void receive(Visit visit) {
        struct Visitor final : RectVisitor {
            explicit Visitor(Visit& visiting) : visit(visiting) {}
            void operator()(const PixelRect& rect) override { visit(rect); }
            Visit& visit;
        } visitor(visit);
        receiveRects(visitor);
    }

  private:
    struct RectVisitor {
        virtual void operator()(const PixelRect& rect) = 0;

      protected:
        ~RectVisitor() = default;
    };

    void receiveRects(RectVisitor& visitor);

    const Connection& connection_;
    std::uint8_t noticeType_;
    std::uint32_t damage_;
    std::uint32_t region_;
    unsigned requestSequence_ = 0;
    bool noticed_ = false;
};

}  // namespace quorvane::platform::x11
