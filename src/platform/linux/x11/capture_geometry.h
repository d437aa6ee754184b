// Where the pixels of a capture come from and go to.
// Units: pixels; the root window's origin is that of the global points, and a point is a pixel.
// Threads: values. Errors: none.
#pragma once

#include "platform/linux/x11/pixel_rect.h"
#include "support/geometry.h"

namespace quorvane::platform::x11 {

// Its origin and its size are rounded to pixels, each half away from zero, so that its size is the
// one that the output size was derived from. At least a pixel.
PixelRect pixelRectOf(const support::Rect& rect);

struct CaptureGeometry {
    PixelRect source;     // the captured rectangle, on its drawable
    PixelRect visible;    // the part of it that exists, relative to it; the rest is black
    PixelRect drawn;      // the visible part as far as the next even edges or the source's
    PixelRect target;     // where the source goes in the output, with even edges; the rest is black
    bool scaled = false;  // else the source has the output's size
};

// How a source of which a part exists goes into an output with even sides.
// An output that is the source rounded down to even sides is not scaled, which would blur text:
// the source loses its last column or row.
// A source that keeps its aspect lies in the middle of the output, as large as it fits. One that
// has the output's shape but for the rounding of the output's sides fills it all the same.
CaptureGeometry captureGeometryOf(const PixelRect& source, const PixelRect& existing,
                                  int outputWidth, int outputHeight, bool keepsAspect);

}  // namespace quorvane::platform::x11
