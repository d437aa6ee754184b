// One picture of a camera as it was delivered: formats, planes, colours.
// Threads: a view of somebody else's memory; valid as long as its giver says. Errors: none.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quorvane::support {

// Named by the order of the bytes in memory.
enum class VideoFormat {
    yuy2,  // packed 4:2:2, Y U Y V
    uyvy,  // packed 4:2:2, U Y V Y
    nv12,  // planes Y and UV, 4:2:0
    i420,  // planes Y, U and V, 4:2:0
    bgrx,  // 4 bytes a pixel; the last one means nothing
    rgbx,
    bgr,  // 3 bytes a pixel
    rgb,
    jpeg,  // one whole JPEG picture
};

// How Y, U and V make up a colour. Without a meaning for the RGB formats and for JPEG.
enum class VideoMatrix { bt601, bt709 };
enum class VideoRange { limited, full };

struct VideoPlane {
    const std::uint8_t* bytes = nullptr;
    std::ptrdiff_t stride = 0;  // bytes from one row to the next
    std::size_t size = 0;       // bytes
};

struct VideoPicture {
    VideoFormat format = VideoFormat::i420;
    int width = 0;   // pixels
    int height = 0;  // pixels
    VideoMatrix matrix = VideoMatrix::bt601;
    VideoRange range = VideoRange::limited;
    std::array<VideoPlane, 3> planes;  // as many as the format has; a JPEG is one without a stride
};

}  // namespace quorvane::support
