#include "platform/linux/x11/capture_geometry.h"

#include <algorithm>
#include <cmath>

namespace quorvane::platform::x11 {
namespace {

// Within a range in which sums of three cannot overflow and every root window fits.
int pixels(double points) {
    return static_cast<int>(std::clamp(std::round(points), -1e8, 1e8));
}

// Whether scaling the source's sides by one factor and rounding them down to even numbers can give
// the output's.
bool haveTheSameShape(const PixelRect& source, int outputWidth, int outputHeight) {
    const double least =
        std::max(double(outputWidth) / source.width, double(outputHeight) / source.height);
    const double beyond =
        std::min(double(outputWidth + 2) / source.width, double(outputHeight + 2) / source.height);
    return least < beyond;
}

int nearestEven(double length) {
    return std::max(2, static_cast<int>(std::lround(length / 2)) * 2);
}

PixelRect fitted(const PixelRect& source, int outputWidth, int outputHeight) {
    const double factor =
        std::min(double(outputWidth) / source.width, double(outputHeight) / source.height);
    const int width = std::min(nearestEven(source.width * factor), outputWidth);
    const int height = std::min(nearestEven(source.height * factor), outputHeight);
    return {(outputWidth - width) / 2 & ~1, (outputHeight - height) / 2 & ~1, width, height};
}

}  // namespace

PixelRect pixelRectOf(const support::Rect& rect) {
    const support::Rect area = rect.normalised();
    return {pixels(area.x), pixels(area.y), std::max(pixels(area.width), 1),
            std::max(pixels(area.height), 1)};
}

CaptureGeometry captureGeometryOf(const PixelRect& source, const PixelRect& existing,
                                  int outputWidth, int outputHeight, bool keepsAspect) {
    CaptureGeometry result;
    result.source = source;
    result.target = {0, 0, outputWidth, outputHeight};
    result.scaled = outputWidth != (source.width & ~1) || outputHeight != (source.height & ~1);
    if (!result.scaled) {
        result.source.width = outputWidth;
        result.source.height = outputHeight;
    } else if (keepsAspect && !haveTheSameShape(source, outputWidth, outputHeight)) {
        result.target = fitted(source, outputWidth, outputHeight);
    }
    const PixelRect captured = intersectionOf(existing, result.source);
    if (!captured.isEmpty()) {
        result.visible = captured.movedBy(-result.source.x, -result.source.y);
        result.drawn = intersectionOf(result.visible.evenOutwards(),
                                      {0, 0, result.source.width, result.source.height});
    }
    return result;
}

}  // namespace quorvane::platform::x11
