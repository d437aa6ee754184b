// One block of up to 2x2 pixels to I420, by the same arithmetic as the vector code: for what is
// narrower than a step of that, and for the last column of an odd width.
// Threads: any. Errors: none.
#pragma once

#include <cstdint>

#include "pixels/packed_pixels.h"

namespace quorvane::pixels::detail {

// Where the samples of a row of blocks go.
struct BlockRows {
    std::uint8_t* upperY;
    std::uint8_t* lowerY;
    std::uint8_t* u;
    std::uint8_t* v;
};

// Converts the blocks of two rows (the same row twice where there is only one), from column
// `begin`, which is even, up to column `end`.
void convertBlocks(const std::uint32_t* upper, const std::uint32_t* lower, int begin, int end,
                   PackedFormat format, const BlockRows& target) noexcept;

}  // namespace quorvane::pixels::detail
