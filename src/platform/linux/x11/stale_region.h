// The part of a picture that is no longer what the screen shows.
// Why rectangles and not exact pixels: every rectangle costs a request to the server, as much as
// some thousand pixels do. So rectangles that lie close together become one.
// Units: pixels of the picture. Threads: a value, one thread at a time. Errors: none; it allocates
// nothing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/linux/x11/pixel_rect.h"

namespace quorvane::platform::x11 {

class StaleRegion {
  public:
    static constexpr std::size_t maximumRects = 16;
    // Two rectangles become one when that adds no more pixels than these: fetching and converting
    // them costs about what a request costs.
    static constexpr std::int64_t pixelsWorthARequest = 8192;

    // The part of a picture that can become stale; its origin is even. It may be empty.
    explicit StaleRegion(const PixelRect& bounds) : bounds_(bounds) {}

    // What of the rectangle lies within the bounds is stale, as far as the next even edges (chroma
    // samples span two pixels) or the bounds'.
    void add(const PixelRect& rect);
    void clear() { count_ = 0; }

    bool isEmpty() const { return count_ == 0; }
    // They cover all that is stale and may overlap; together they are no larger than the bounds.
    std::span<const PixelRect> rects() const { return {rects_.data(), count_}; }
    std::int64_t area() const;

  private:
    void insert(PixelRect rect);
    void removeAt(std::size_t index) { rects_[index] = rects_[--count_]; }
    void mergeTheNearest();

    PixelRect bounds_;
    std::array<PixelRect, maximumRects + 1> rects_{};
    std::size_t count_ = 0;
};

}  // namespace quorvane::platform::x11
