// BT.709 in limited range as whole numbers, for 16-bit multiplications that add up in 32 bits.
// Each pixel is two such multiplications of pairs: (blue, red) and (green, nothing).
#pragma once

#include <cstdint>

#include "pixels/packed_pixels.h"

namespace quorvane::pixels::detail {

// One output sample's weights, scaled by 2 to the power of the format's shift.
struct Weights {
    std::int16_t red;
    std::int16_t green;
    std::int16_t blue;
};

struct Coefficients {
    int lumaShift;
    Weights y;
    Weights u;
    Weights v;
};

constexpr std::int16_t rounded(double value) {
    return static_cast<std::int16_t>(value < 0 ? value - 0.5 : value + 0.5);
}

// The shifts are the largest that keep the weights within 16 bits; the sum of four pixels needs
// two bits more.
constexpr Coefficients coefficientsOf(PackedFormat format) {
    constexpr double kr = 0.2126;
    constexpr double kb = 0.0722;
    const bool tenBits = format == PackedFormat::xrgb2101010;
    const int shift = tenBits ? 17 : 15;
    const double full = tenBits ? 1023 : 255;
    const double luma = 219 / full * (1 << shift);
    const double chroma = 224 / full * (1 << shift);

    Coefficients result{shift, {}, {}, {}};
    result.y = {rounded(kr * luma), rounded((1 - kr - kb) * luma), rounded(kb * luma)};
    // The green weight of a colour difference is what makes the three add up to nothing, so that
    // grey stays grey.
    result.u = {rounded(-kr / (2 * (1 - kb)) * chroma), 0, rounded(0.5 * chroma)};
    result.u.green = static_cast<std::int16_t>(-(result.u.red + result.u.blue));
    result.v = {rounded(0.5 * chroma), 0, rounded(-kb / (2 * (1 - kr)) * chroma)};
    result.v.green = static_cast<std::int16_t>(-(result.v.red + result.v.blue));
    return result;
}

}  // namespace quorvane::pixels::detail
