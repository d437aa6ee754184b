#include "platform/linux/x11/stale_region.h"

#include <limits>
#include <numeric>

namespace quorvane::platform::x11 {
namespace {

// How many pixels the bounding box of the two has that are in neither.
std::int64_t wasteOf(const PixelRect& a, const PixelRect& b) {
    return unionOf(a, b).area() - (a.area() + b.area() - intersectionOf(a, b).area());
}

}  // namespace

void StaleRegion::add(const PixelRect& rect) {
    const PixelRect inside = intersectionOf(rect, bounds_);
    if (inside.isEmpty()) return;
    insert(intersectionOf(inside.evenOutwards(), bounds_));
    if (count_ > maximumRects) mergeTheNearest();
    // Overlaps count twice; where that makes them more than the bounds, one box does as well.
    if (area() > bounds_.area()) {
        rects_[0] =
            std::accumulate(rects_.begin() + 1, rects_.begin() + count_, rects_[0], unionOf);
        count_ = 1;
    }
}

std::int64_t StaleRegion::area() const {
    std::int64_t sum = 0;
    for (const PixelRect& rect : rects())
        sum += rect.area();
    return sum;
}

void StaleRegion::insert(PixelRect rect) {
    for (std::size_t i = 0; i < count_;) {
        if (rects_[i].contains(rect)) return;
        const std::int64_t acceptable =
            std::max(pixelsWorthARequest, (rects_[i].area() + rect.area()) / 8);
        if (wasteOf(rects_[i], rect) <= acceptable) {
            // The larger rectangle may now be near to one that the smaller was not near to.
            rect = unionOf(rects_[i], rect);
            removeAt(i);
            i = 0;
        } else {
            ++i;
        }
    }
    rects_[count_++] = rect;
}

void StaleRegion::mergeTheNearest() {
    std::size_t first = 0;
    std::size_t second = 1;
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    for (std::size_t i = 0; i < count_; ++i) {
        for (std::size_t j = i + 1; j < count_; ++j) {
            const std::int64_t waste = wasteOf(rects_[i], rects_[j]);
            if (waste < least) {
                least = waste;
                first = i;
                second = j;
            }
        }
    }
    const PixelRect merged = unionOf(rects_[first], rects_[second]);
    removeAt(second);
    removeAt(first);
    insert(merged);
}

}  // namespace quorvane::platform::x11
