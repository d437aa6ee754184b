// Rectangles of whole pixels.
// Threads: values. Errors: none.
#pragma once

#include <algorithm>
#include <cstdint>

namespace quorvane::platform::x11 {

// Empty when a side is not positive.
struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const PixelRect&) const = default;

    int right() const { return x + width; }
    int bottom() const { return y + height; }
    bool isEmpty() const { return width <= 0 || height <= 0; }
    std::int64_t area() const { return isEmpty() ? 0 : static_cast<std::int64_t>(width) * height; }
    PixelRect movedBy(int dx, int dy) const { return {x + dx, y + dy, width, height}; }
    // The smallest that contains it and has even edges; the origin is not negative.
    PixelRect evenOutwards() const {
        const int left = x & ~1;
        const int top = y & ~1;
        return {left, top, ((right() + 1) & ~1) - left, ((bottom() + 1) & ~1) - top};
    }
    bool contains(const PixelRect& other) const {
        return other.x >= x && other.y >= y && other.right() <= right() &&
               other.bottom() <= bottom();
    }
};

inline PixelRect fromEdges(int left, int top, int right, int bottom) {
    return {left, top, right - left, bottom - top};
}

// Empty when they share nothing.
inline PixelRect intersectionOf(const PixelRect& a, const PixelRect& b) {
    const PixelRect shared =
        fromEdges(std::max(a.x, b.x), std::max(a.y, b.y), std::min(a.right(), b.right()),
                  std::min(a.bottom(), b.bottom()));
    return shared.isEmpty() ? PixelRect{} : shared;
}

// The smallest that contains both; neither is empty.
inline PixelRect unionOf(const PixelRect& a, const PixelRect& b) {
    return fromEdges(std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.right(), b.right()),
                     std::max(a.bottom(), b.bottom()));
}

}  // namespace quorvane::platform::x11
