#include "platform/linux/x11/capture_geometry.h"

#include <algorithm>
#include <cmath>

namespace quorvane::platform::x11 {
namespace {

// Within a range in which sums of three cannot overflow and every root window fits.
int pixels(double points) {
    return static_cast<int>(std::clamp(std::round(points), -1e8, 1e8));
}

}  // namespace

CaptureGeometry captureGeometryOf(const support::Rect& sourceRect, const PixelRect& display,
                                  int rootWidth, int rootHeight, int outputWidth,
                                  int outputHeight) {
    const support::Rect rect = sourceRect.normalised();
    PixelRect source{display.x + pixels(rect.x), display.y + pixels(rect.y),
                     std::max(pixels(rect.width), 1), std::max(pixels(rect.height), 1)};
    const bool scaled = outputWidth != (source.width & ~1) || outputHeight != (source.height & ~1);
    if (!scaled) {
        source.width = outputWidth;
        source.height = outputHeight;
    }
    CaptureGeometry result{source, {}, {}, scaled};
    const PixelRect existing =
        intersectionOf(intersectionOf(source, display), {0, 0, rootWidth, rootHeight});
    if (!existing.isEmpty()) {
        result.visible = existing.movedBy(-source.x, -source.y);
        result.drawn =
            intersectionOf(result.visible.evenOutwards(), {0, 0, source.width, source.height});
    }
    return result;
}

}  // namespace quorvane::platform::x11
