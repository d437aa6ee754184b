#include "pixels/cursor_blend.h"

#include <algorithm>
#include <cstddef>

namespace quorvane::pixels {
namespace {

template <PackedFormat format>
std::uint32_t blended(std::uint32_t over, std::uint32_t under) {
    constexpr std::uint32_t bits = format == PackedFormat::xrgb2101010 ? 10 : 8;
    constexpr std::uint32_t full = (1u << bits) - 1;
    const std::uint32_t transparency = 255 - (over >> 24);
    std::uint32_t result = 0;
    for (std::uint32_t component = 0; component < 3; ++component) {
        const std::uint32_t colour = (over >> (8 * component)) & 0xFF;
        const std::uint32_t behind = (under >> (bits * component)) & full;
        // Both terms over 255, rounded once. A cursor whose colours exceed its alpha is not
        // premultiplied; it saturates.
        const std::uint32_t sum = (colour * full + behind * transparency + 127) / 255;
        result |= std::min(sum, full) << (bits * component);
    }
    return result;
}

template <PackedFormat format>
void blendRows(const CursorPixels& cursor, int x, int y, PackedTarget target, int left, int top,
               int right, int bottom) {
    for (int row = top; row < bottom; ++row) {
        const std::uint32_t* over =
            cursor.argb.data() + static_cast<std::ptrdiff_t>(row - y) * cursor.width;
        std::uint32_t* under = target.at(0, row);
        for (int column = left; column < right; ++column) {
            const std::uint32_t colour = over[column - x];
            if (colour != 0) under[column] = blended<format>(colour, under[column]);
        }
    }
}

}  // namespace

void blendCursor(const CursorPixels& cursor, int x, int y, PackedTarget target, PackedFormat format,
                 int width, int height) noexcept {
    const int left = std::max(x, 0);
    const int top = std::max(y, 0);
    const int right = std::min(x + cursor.width, width);
    const int bottom = std::min(y + cursor.height, height);
    const auto blend = format == PackedFormat::xrgb2101010 ? &blendRows<PackedFormat::xrgb2101010>
                                                           : &blendRows<PackedFormat::xrgb8888>;
    blend(cursor, x, y, target, left, top, right, bottom);
}

}  // namespace quorvane::pixels
