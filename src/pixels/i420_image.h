// Memory for one I420 picture, and scaling from one to another.
// Threads: a picture is used by one thread at a time. Errors: std::bad_alloc.
#pragma once

#include <cstdint>
#include <memory>

#include "pixels/i420_conversion.h"

namespace quorvane::pixels {

// Planes begin and rows are padded at multiples of 64 bytes, what the widest vectors like best.
// A side may be odd: chroma is then rounded up. What a new picture shows is undefined: it takes no
// real memory before it is drawn.
class I420Image {
  public:
    I420Image(int width, int height);

    int width() const { return width_; }
    int height() const { return height_; }
    void fillBlack() const noexcept;
    // Of the whole picture. What is behind them may be written.
    const I420Rows& rows() const { return rows_; }

  private:
    struct Free {
        void operator()(std::uint8_t* memory) const noexcept;
    };

    int width_;
    int height_;
    std::unique_ptr<std::uint8_t[], Free> memory_;
    I420Rows rows_;
};

// Fills width x height pixels of the target with the whole source: averaged areas when it shrinks,
// interpolation when it grows.
void scale(const I420Image& source, const I420Rows& target, int width, int height) noexcept;

}  // namespace quorvane::pixels
