// Takes the rectangles of an answer, one by one, so that nothing is allocated for them.
// Threads: the caller's.
#pragma once

#include "platform/linux/x11/pixel_rect.h"

namespace quorvane::platform::x11 {

class RectVisitor {
  public:
    virtual void operator()(const PixelRect& rect) = 0;

  protected:
    ~RectVisitor() = default;
};

// A visitor made of a function, which it borrows.
template <class Visit>
class RectVisitorOf final : public RectVisitor {
  public:
    explicit RectVisitorOf(Visit& visit) : visit_(visit) {}
    void operator()(const PixelRect& rect) override { visit_(rect); }

  private:
    Visit& visit_;
};

}  // namespace quorvane::platform::x11
