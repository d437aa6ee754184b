#include "pixels/i420_image.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>

#include <libyuv/scale.h>

namespace quorvane::pixels {
namespace {

constexpr std::align_val_t alignment{64};

std::size_t padded(std::size_t bytes) {
    return (bytes + 63) / 64 * 64;
}

}  // namespace

void I420Image::Free::operator()(std::uint8_t* memory) const noexcept {
    ::operator delete(memory, alignment);
}

I420Image::I420Image(int width, int height) : width_(width), height_(height) {
    const auto size = [](int length) { return static_cast<std::size_t>(length); };
    const std::array<std::size_t, 3> widths{size(width), size(width + 1) / 2, size(width + 1) / 2};
    const std::array<std::size_t, 3> heights{size(height), size(height + 1) / 2,
                                             size(height + 1) / 2};
    std::size_t total = 0;
    for (std::size_t i = 0; i < 3; ++i)
        total += padded(widths[i]) * heights[i];
    memory_.reset(static_cast<std::uint8_t*>(::operator new(total, alignment)));

    std::uint8_t* plane = memory_.get();
    for (std::size_t i = 0; i < 3; ++i) {
        rows_.planes[i] = plane;
        rows_.strides[i] = static_cast<std::ptrdiff_t>(padded(widths[i]));
        plane += padded(widths[i]) * heights[i];
    }
}

void I420Image::fillBlack() const noexcept {
    for (std::size_t i = 0; i < 3; ++i) {
        const std::ptrdiff_t rows = i == 0 ? height_ : (height_ + 1) / 2;
        std::fill_n(rows_.planes[i], rows * rows_.strides[i], i420Black[i]);
    }
}

void scale(const I420Image& source, const I420Rows& to, int width, int height) noexcept {
    const I420Rows& from = source.rows();
    const auto stride = [](const I420Rows& rows, std::size_t plane) {
        return static_cast<int>(rows.strides[plane]);
    };
    // It fails only for sizes that are not positive, which no picture has. Its box filter
    // interpolates where the picture does not shrink.
    libyuv::I420Scale(from.planes[0], stride(from, 0), from.planes[1], stride(from, 1),
                      from.planes[2], stride(from, 2), source.width(), source.height(),
                      to.planes[0], stride(to, 0), to.planes[1], stride(to, 1), to.planes[2],
                      stride(to, 2), width, height, libyuv::kFilterBox);
}

}  // namespace quorvane::pixels
