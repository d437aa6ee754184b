#include "platform/linux/libav/display_matrix.h"

#include <cmath>
#include <cstdint>
#include <new>

extern "C" {
#include <libavformat/avformat.h>
}

namespace quorvane::platform::libav {
namespace {

// Numbers of the matrix have 16 binary places, but for the last column with 30.
constexpr double one = 65536;
constexpr std::int32_t lastOne = 1 << 30;
constexpr std::size_t matrixSize = 9 * sizeof(std::int32_t);

std::int32_t fixed(double value) {
    return static_cast<std::int32_t>(std::lround(value * one));
}

}  // namespace

AffineTransform displayTransform(const AVStream& stream) {
    std::size_t size = 0;
    const auto* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (data == nullptr || size < matrixSize) return {};
    const auto* matrix = reinterpret_cast<const std::int32_t*>(data);
    return {.a = matrix[0] / one,
            .b = matrix[1] / one,
            .c = matrix[3] / one,
            .d = matrix[4] / one,
            .tx = matrix[6] / one,
            .ty = matrix[7] / one};
}

void setDisplayTransform(AVStream& stream, const AffineTransform& transform) {
    if (transform == AffineTransform{}) return;
    auto* data = av_stream_new_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, matrixSize);
    if (data == nullptr) throw std::bad_alloc();
    const std::int32_t matrix[] = {fixed(transform.a),  fixed(transform.b),  0,
                                   fixed(transform.c),  fixed(transform.d),  0,
                                   fixed(transform.tx), fixed(transform.ty), lastOne};
    static_assert(sizeof matrix == matrixSize);
    std::copy(std::begin(matrix), std::end(matrix), reinterpret_cast<std::int32_t*>(data));
}

}  // namespace quorvane::platform::libav
