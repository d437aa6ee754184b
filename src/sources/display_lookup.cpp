#include "sources/display_lookup.h"

#include <numeric>

namespace quorvane::sources {

std::optional<std::uint32_t> displayIdForFrame(const support::Rect& frame,
                                               std::span<const platform::Display> displays) {
    for (const auto& display : displays) {
        if (display.frame.contains(frame.midpoint())) return display.displayID;
    }
    for (const auto& display : displays) {
        if (display.frame.intersects(frame)) return display.displayID;
    }
    return std::nullopt;
}

std::optional<support::Rect> unionRect(std::span<const support::Rect> rects) {
    if (rects.empty()) return std::nullopt;
    return std::accumulate(rects.begin() + 1, rects.end(), rects.front(),
                           [](const support::Rect& whole, const support::Rect& each) {
                               return whole.unionWith(each);
                           });
}

}  // namespace quorvane::sources
