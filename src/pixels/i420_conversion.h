// Packed RGB to the encoder's form: planar Y, U, V with 8 bits and halved chroma (I420), BT.709 in
// limited range. One pass over the source, by the widest vectors that the processor has.
// Why our own: libyuv converts RGB by the BT.601 matrix only, and pictures of a screen are BT.709.
// A chroma sample is the mean of its 2x2 pixels; every result is within 1 of the exact formula,
// and a grey pixel has exactly neutral chroma.
// Threads: any. Errors: none.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "pixels/packed_pixels.h"

namespace quorvane::pixels {

// The upper left samples of a rectangle in the Y, U and V planes.
struct I420Rows {
    std::array<std::uint8_t*, 3> planes{};
    std::array<std::ptrdiff_t, 3> strides{};  // bytes

    // The rectangle that begins at (x, y), both even.
    I420Rows at(int x, int y) const;
};

// Converts width x height pixels. Where a side is odd, the last chroma samples are the means of
// the pixels that exist.
void convertToI420(PackedSource source, PackedFormat format, int width, int height,
                   const I420Rows& target) noexcept;

// Y, U and V of black.
inline constexpr std::array<std::uint8_t, 3> i420Black{16, 128, 128};

}  // namespace quorvane::pixels
