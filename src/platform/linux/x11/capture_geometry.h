// Where the pixels of a capture come from and go to.
// Units: pixels; the root window's origin is that of the global points, and a point is a pixel.
// Threads: values. Errors: none.
#pragma once

#include "platform/linux/x11/pixel_rect.h"
#include "support/geometry.h"

namespace quorvane::platform::x11 {

struct CaptureGeometry {
    PixelRect source;   // the captured rectangle, on the root window
    PixelRect visible;  // the part of it that exists, relative to it; the rest is black
    PixelRect drawn;    // the visible part as far as the next even edges or the source's
    bool scaled = false;
};

// The rectangle is relative to the display. Its origin and its size are rounded to pixels, each
// half away from zero; so its size is the one that the output size was derived from.
// An output that is the source rounded down to even sides is not scaled, which would blur text:
// the source loses its last column or row.
CaptureGeometry captureGeometryOf(const support::Rect& sourceRect, const PixelRect& display,
                                  int rootWidth, int rootHeight, int outputWidth, int outputHeight);

}  // namespace quorvane::platform::x11
