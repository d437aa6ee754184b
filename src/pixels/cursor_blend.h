// Draws a cursor into a captured picture.
// Why: display servers keep the cursor apart from the pixels of the screen.
// Threads: any. Errors: none.
#pragma once

#include <cstdint>
#include <span>

#include "pixels/packed_pixels.h"

namespace quorvane::pixels {

// Words are alpha, red, green, blue from the highest byte down; colours are premultiplied.
struct CursorPixels {
    std::span<const std::uint32_t> argb;  // width x height, row by row
    int width = 0;
    int height = 0;
};

// Blends the cursor, whose upper left pixel lies at (x, y) of the target's rectangle of
// width x height pixels (it may reach beyond every edge).
void blendCursor(const CursorPixels& cursor, int x, int y, PackedTarget target, PackedFormat format,
                 int width, int height) noexcept;

}  // namespace quorvane::pixels
