#include "platform/linux/x11/bubble_geometry.h"

#include <algorithm>
#include <cmath>

namespace quorvane::platform::x11 {
namespace {

// Farther out, nothing is on any screen.
constexpr double farthest = 30000;

int nearestPixel(double position) {
    return static_cast<int>(std::floor(std::clamp(position, -farthest, farthest) + 0.5));
}

}  // namespace

PixelRect placeOnRoot(const support::Rect& rect, const PixelRect& mainScreen, int rootWidth,
                      int rootHeight) {
    const double left = mainScreen.x + rect.x;
    const double top = mainScreen.bottom() - rect.y - rect.height;
    if (!(rect.width > 0) || !(rect.height > 0)) return {};
    PixelRect placed = fromEdges(nearestPixel(left), nearestPixel(top),
                                 nearestPixel(left + rect.width), nearestPixel(top + rect.height));
    // What is too large keeps its origin, the lower left corner.
    const int bottom = placed.bottom();
    placed.width = std::min(placed.width, rootWidth);
    placed.height = std::min(placed.height, rootHeight);
    placed.y = bottom - placed.height;
    return placed;
}

}  // namespace quorvane::platform::x11
