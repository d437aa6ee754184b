#include "platform/linux/x11/visible_frame.h"

#include <algorithm>

namespace quorvane::platform::x11 {
namespace {

support::Rect grown(const support::Rect& rect, const Extents& by) {
    return {rect.x - by.left, rect.y - by.top, rect.width + by.left + by.right,
            rect.height + by.top + by.bottom};
}

support::Rect withoutShadows(const support::Rect& rect, const Extents& shadows) {
    const Extents inwards{-shadows.left, -shadows.right, -shadows.top, -shadows.bottom};
    const auto inner = grown(rect, inwards);
    // What a window tells of itself may be nonsense.
    return inner.width > 0 && inner.height > 0 ? inner : rect;
}

bool hasShadows(const Extents& shadows) {
    return shadows.left != 0 || shadows.right != 0 || shadows.top != 0 || shadows.bottom != 0;
}

}  // namespace

std::optional<Extents> extentsFrom(std::span<const std::uint32_t> property) {
    constexpr std::size_t sides = 4;
    constexpr std::uint32_t most = 0xFFFF;
    if (property.size() < sides) return std::nullopt;
    const auto widths = property.first(sides);
    if (std::ranges::any_of(widths, [](std::uint32_t width) { return width > most; }))
        return std::nullopt;
    return Extents{double(widths[0]), double(widths[1]), double(widths[2]), double(widths[3])};
}

support::Rect visibleFrame(const WindowPlacement& placement) {
    const auto seen = withoutShadows(placement.client, placement.shadows);
    if (!placement.frame) {
        if (hasShadows(placement.shadows)) return seen;
        const double border = placement.clientBorder;
        return grown(placement.client, {border, border, border, border});
    }
    if (placement.decorations) {
        // Frames may be larger than what is seen of them, so that their edges are easily grabbed;
        // a shaded window's is smaller.
        const auto decorated = grown(seen, *placement.decorations);
        return decorated.intersection(*placement.frame).value_or(*placement.frame);
    }
    return hasShadows(placement.shadows) ? seen : *placement.frame;
}

}  // namespace quorvane::platform::x11
