// Pictures as display servers hold them: one 32-bit word a pixel, in the machine's byte order.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quorvane::pixels {

enum class PackedFormat {
    xrgb8888,     // 8 bits each, blue lowest; the upper 8 bits mean nothing
    xrgb2101010,  // 10 bits each, blue lowest; the upper 2 bits mean nothing
};

// The upper left pixel of a rectangle of words, and the distance to the one below it.
template <class Word>
struct PackedRows {
    Word* pixels = nullptr;
    std::ptrdiff_t stride = 0;  // words

    Word* at(int x, int y) const { return pixels + y * stride + x; }
};

using PackedSource = PackedRows<const std::uint32_t>;
using PackedTarget = PackedRows<std::uint32_t>;

}  // namespace quorvane::pixels
