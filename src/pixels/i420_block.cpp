#include "pixels/i420_block.h"

#include <algorithm>

#include "pixels/i420_coefficients.h"

namespace quorvane::pixels::detail {
namespace {

struct Sum {
    int red = 0;
    int green = 0;
    int blue = 0;

    void add(std::uint32_t pixel, PackedFormat format) {
        const int bits = format == PackedFormat::xrgb2101010 ? 10 : 8;
        const std::uint32_t mask = (1u << bits) - 1;
        blue += static_cast<int>(pixel & mask);
        green += static_cast<int>((pixel >> bits) & mask);
        red += static_cast<int>((pixel >> 2 * bits) & mask);
    }
    std::uint8_t weighted(const Weights& weights, int offset, int shift) const {
        const int sum = red * weights.red + green * weights.green + blue * weights.blue;
        return static_cast<std::uint8_t>((sum + (offset << shift) + (1 << (shift - 1))) >> shift);
    }
};

}  // namespace

void convertBlocks(const std::uint32_t* upper, const std::uint32_t* lower, int begin, int end,
                   PackedFormat format, const BlockRows& target) noexcept {
    const Coefficients coefficients = coefficientsOf(format);
    const auto lumaOf = [&](std::uint32_t pixel) {
        Sum one;
        one.add(pixel, format);
        return one.weighted(coefficients.y, 16, coefficients.lumaShift);
    };
    for (int x = begin; x < end; x += 2) {
        Sum block;
        for (int column : {x, std::min(x + 1, end - 1)}) {
            target.upperY[column] = lumaOf(upper[column]);
            target.lowerY[column] = lumaOf(lower[column]);
            block.add(upper[column], format);
            block.add(lower[column], format);
        }
        target.u[x / 2] = block.weighted(coefficients.u, 128, coefficients.lumaShift + 2);
        target.v[x / 2] = block.weighted(coefficients.v, 128, coefficients.lumaShift + 2);
    }
}

}  // namespace quorvane::pixels::detail
