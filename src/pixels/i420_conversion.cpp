#include "pixels/i420_conversion.h"

#include <algorithm>

#include "pixels/i420_block.h"
#include "pixels/i420_coefficients.h"

// This file is compiled once for every vector width: foreach_target.h includes it again.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixels/i420_conversion.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace quorvane::pixels::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

// A processor without vectors that we know.
template <PackedFormat format>
void convertTwoRows(const std::uint32_t* upper, const std::uint32_t* lower, std::size_t width,
                    const detail::BlockRows& target) {
    detail::convertBlocks(upper, lower, 0, static_cast<int>(width), format, target);
}

std::size_t stepOf() {
    return 2;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using D32 = hn::ScalableTag<std::int32_t>;
using D16 = hn::Repartition<std::int16_t, D32>;
using DU32 = hn::RebindToUnsigned<D32>;
using DU16 = hn::RebindToUnsigned<D16>;
using D8 = hn::Repartition<std::uint8_t, D32>;
using V32 = hn::Vec<D32>;
using V16 = hn::Vec<D16>;
using VU32 = hn::Vec<DU32>;

// A word of each is one pixel (or the sum of some) as two 16-bit numbers. Beside green lies what
// means nothing; its weight is 0.
struct Components {
    VU32 blueRed;
    VU32 green;
};

template <PackedFormat format>
HWY_INLINE Components componentsOf(VU32 pixels) {
    const DU32 d;
    if constexpr (format == PackedFormat::xrgb8888) {
        return {hn::And(pixels, hn::Set(d, 0x00FF00FFu)),
                hn::BitCast(d, hn::ShiftRight<8>(hn::BitCast(DU16(), pixels)))};
    } else {
        return {hn::Or(hn::And(pixels, hn::Set(d, 0x3FFu)),
                       hn::And(hn::ShiftRight<4>(pixels), hn::Set(d, 0x03FF0000u))),
                hn::And(hn::ShiftRight<10>(pixels), hn::Set(d, 0x3FFu))};
    }
}

HWY_INLINE Components sumOf(const Components& a, const Components& b) {
    // No 16-bit half overflows: four 10-bit numbers are the most that come together.
    return {hn::Add(a.blueRed, b.blueRed), hn::Add(a.green, b.green)};
}

// The sums of neighbouring pixels of two vectors, in their order.
HWY_INLINE Components pairSumsOf(const Components& low, const Components& high) {
    const DU32 d;
    return {
        hn::Add(hn::ConcatEven(d, high.blueRed, low.blueRed),
                hn::ConcatOdd(d, high.blueRed, low.blueRed)),
        hn::Add(hn::ConcatEven(d, high.green, low.green), hn::ConcatOdd(d, high.green, low.green))};
}

struct VectorWeights {
    V16 blueRed;
    V16 green;
    V32 bias;
};

HWY_INLINE VectorWeights vectorWeightsOf(const detail::Weights& weights, int offset, int shift) {
    const DU32 d;
    const auto low = [](std::int16_t weight) { return static_cast<std::uint16_t>(weight); };
    const std::uint32_t blueRed =
        low(weights.blue) | (static_cast<std::uint32_t>(low(weights.red)) << 16);
    return {hn::BitCast(D16(), hn::Set(d, blueRed)),
            hn::BitCast(D16(), hn::Set(d, low(weights.green))),
            hn::Set(D32(), (offset << shift) + (1 << (shift - 1)))};
}

// The weighted sums, still with their fractions.
HWY_INLINE V32 weighted(const Components& components, const VectorWeights& weights) {
    const D32 d;
    V32 odd = hn::Zero(d);
    V32 sum = hn::ReorderWidenMulAccumulate(d, hn::BitCast(D16(), components.blueRed),
                                            weights.blueRed, weights.bias, odd);
    sum = hn::ReorderWidenMulAccumulate(d, hn::BitCast(D16(), components.green), weights.green, sum,
                                        odd);
    return hn::RearrangeToOddPlusEven(sum, odd);
}

// The whole parts of two vectors of sums as 16-bit numbers: the lower halves of the words are the
// first's, the upper halves the second's.
template <int shift>
HWY_INLINE V32 wholesOf(V32 first, V32 second) {
    if constexpr (shift < 16) {
        second = hn::ShiftLeft<16 - shift>(second);
    } else {
        second = hn::ShiftRight<shift - 16>(second);
    }
    return hn::BitCast(D32(), hn::OddEven(hn::BitCast(D16(), second),
                                          hn::BitCast(D16(), hn::ShiftRight<shift>(first))));
}

// Packs the whole parts of four vectors of sums, which are bytes, into one vector in their order.
class BytePacker {
  public:
    BytePacker() {
        const DU32 d;
        const std::size_t lanes = hn::Lanes(d);
        alignas(64) std::uint8_t bytes[4 * hn::MaxLanes(DU32())];
        alignas(64) std::int32_t words[hn::MaxLanes(DU32())];
        for (std::size_t i = 0; i < 4 * lanes; ++i) {
            bytes[i] = static_cast<std::uint8_t>(i % 4 * 4 + i / 4 % 4);
        }
        for (std::size_t i = 0; i < lanes; ++i) {
            words[i] = static_cast<std::int32_t>(i % (lanes / 4) * 4 + i / (lanes / 4));
        }
        transposeBlocks_ = hn::Load(D8(), bytes);
        gatherWords_ = hn::SetTableIndices(d, words);
    }

    template <int shift>
    HWY_INLINE hn::Vec<D8> pack(V32 first, V32 second, V32 third, V32 fourth) const {
        const V32 words = hn::Or(wholesOf<shift>(first, third),
                                 hn::ShiftLeft<8>(wholesOf<shift>(second, fourth)));
        // Each word has one byte of each vector. Sorted within 128 bits, then among them.
        const auto blocks = hn::TableLookupBytes(hn::BitCast(D8(), words), transposeBlocks_);
        return hn::BitCast(D8(), hn::TableLookupLanes(hn::BitCast(DU32(), blocks), gatherWords_));
    }

  private:
    hn::Vec<D8> transposeBlocks_;
    decltype(hn::SetTableIndices(DU32(), static_cast<const std::int32_t*>(nullptr))) gatherWords_;
};

// Two rows of pixels become two rows of luma and one of chroma. The width is even and at least one
// step; where it is no multiple of the step, the last step is taken again from the end.
template <PackedFormat format>
void convertTwoRows(const std::uint32_t* upper, const std::uint32_t* lower, std::size_t width,
                    const detail::BlockRows& target) {
    constexpr detail::Coefficients coefficients = detail::coefficientsOf(format);
    constexpr int lumaShift = coefficients.lumaShift;
    constexpr int chromaShift = lumaShift + 2;
    const VectorWeights weightsY = vectorWeightsOf(coefficients.y, 16, lumaShift);
    const VectorWeights weightsU = vectorWeightsOf(coefficients.u, 128, chromaShift);
    const VectorWeights weightsV = vectorWeightsOf(coefficients.v, 128, chromaShift);
    const BytePacker packer;
    const DU32 d;
    const std::size_t lanes = hn::Lanes(d);
    const std::size_t step = 4 * lanes;

    for (std::size_t begin = 0; begin < width; begin += step) {
        const std::size_t x = std::min(begin, width - step);
        Components sums[4];
        V32 rowsY[4];
        const auto load = [&](const std::uint32_t* row, std::size_t i) {
            return componentsOf<format>(hn::LoadU(d, row + x + i * lanes));
        };
        for (std::size_t i = 0; i < 4; ++i) {
            sums[i] = load(upper, i);
            rowsY[i] = weighted(sums[i], weightsY);
        }
        hn::StoreU(packer.pack<lumaShift>(rowsY[0], rowsY[1], rowsY[2], rowsY[3]), D8(),
                   target.upperY + x);
        for (std::size_t i = 0; i < 4; ++i) {
            const Components components = load(lower, i);
            rowsY[i] = weighted(components, weightsY);
            sums[i] = sumOf(sums[i], components);
        }
        hn::StoreU(packer.pack<lumaShift>(rowsY[0], rowsY[1], rowsY[2], rowsY[3]), D8(),
                   target.lowerY + x);

        const Components left = pairSumsOf(sums[0], sums[1]);
        const Components right = pairSumsOf(sums[2], sums[3]);
        const auto chroma =
            packer.pack<chromaShift>(weighted(left, weightsU), weighted(right, weightsU),
                                     weighted(left, weightsV), weighted(right, weightsV));
        const hn::Half<D8> half;
        hn::StoreU(hn::LowerHalf(half, chroma), half, target.u + x / 2);
        hn::StoreU(hn::UpperHalf(half, chroma), half, target.v + x / 2);
    }
}

std::size_t stepOf() {
    return 4 * hn::Lanes(DU32());
}

#endif

void convertTwoRows8(const std::uint32_t* upper, const std::uint32_t* lower, std::size_t width,
                     const detail::BlockRows& target) {
    convertTwoRows<PackedFormat::xrgb8888>(upper, lower, width, target);
}

void convertTwoRows10(const std::uint32_t* upper, const std::uint32_t* lower, std::size_t width,
                      const detail::BlockRows& target) {
    convertTwoRows<PackedFormat::xrgb2101010>(upper, lower, width, target);
}

}  // namespace quorvane::pixels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace quorvane::pixels {
namespace {

HWY_EXPORT(convertTwoRows8);
HWY_EXPORT(convertTwoRows10);
HWY_EXPORT(stepOf);

}  // namespace

I420Rows I420Rows::at(int x, int y) const {
    I420Rows result = *this;
    result.planes[0] += y * strides[0] + x;
    for (std::size_t plane : {1u, 2u})
        result.planes[plane] += y / 2 * strides[plane] + x / 2;
    return result;
}

void convertToI420(PackedSource source, PackedFormat format, int width, int height,
                   const I420Rows& target) noexcept {
    const auto convertTwoRows = format == PackedFormat::xrgb8888
                                    ? HWY_DYNAMIC_DISPATCH(convertTwoRows8)
                                    : HWY_DYNAMIC_DISPATCH(convertTwoRows10);
    const int step = static_cast<int>(HWY_DYNAMIC_DISPATCH(stepOf)());
    const int vectorWidth = width >= step ? width & ~1 : 0;

    for (int y = 0; y < height; y += 2) {
        // The last row of an odd height counts as two equal ones.
        const int below = std::min(y + 1, height - 1);
        const std::uint32_t* upper = source.at(0, y);
        const std::uint32_t* lower = source.at(0, below);
        const detail::BlockRows rows{target.planes[0] + y * target.strides[0],
                                     target.planes[0] + below * target.strides[0],
                                     target.planes[1] + y / 2 * target.strides[1],
                                     target.planes[2] + y / 2 * target.strides[2]};
        if (vectorWidth > 0) {
            convertTwoRows(upper, lower, static_cast<std::size_t>(vectorWidth), rows);
        }
        detail::convertBlocks(upper, lower, vectorWidth, width, format, rows);
    }
}

}  // namespace quorvane::pixels

#endif
