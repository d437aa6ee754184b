// Draws a camera's picture over the whole of a rectangle: it is scaled by one factor, and what is
// too wide or too high is cut off evenly on both sides.
// Threads: one at a time. Errors: false for a picture that cannot be read; the target is then
// undefined.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "pixels/packed_pixels.h"
#include "support/video_picture.h"

namespace quorvane::pixels {

// The part of a picture that fills a target: whole pixels, with an even origin, because colour is
// shared by pairs.
struct VideoCrop {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const VideoCrop&) const = default;
};
VideoCrop aspectFillCrop(int width, int height, int targetWidth, int targetHeight);

// Whether the planes hold as much as the picture's format and size say.
bool isComplete(const support::VideoPicture& picture);

// How many planes pictures of this format have, the rows of a plane and the bytes of a row.
// A JPEG has one plane of unknown size.
int planeCount(support::VideoFormat format);
int planeRows(support::VideoFormat format, int plane, int height);
int planeRowBytes(support::VideoFormat format, int plane, int width);

class VideoFill {
  public:
    VideoFill();
    ~VideoFill();
    VideoFill(const VideoFill&) = delete;
    VideoFill& operator=(const VideoFill&) = delete;

    // Pixels are 0xFFRRGGBB. Allocates only for sizes that it has not met yet.
    bool draw(const support::VideoPicture& picture, int width, int height, PackedTarget target);

  private:
    struct Planes;

    bool drawPlanes(const Planes& planes, const support::VideoPicture& picture, int width,
                    int height, PackedTarget target);
    bool drawPacked(const support::VideoPicture& picture, const VideoCrop& crop, int width,
                    int height, PackedTarget target);
    bool drawJpeg(const support::VideoPicture& picture, int width, int height, PackedTarget target);

    struct JpegDecoder;
    std::unique_ptr<JpegDecoder> jpegDecoder_;  // made with the first JPEG
    std::vector<std::uint8_t> cropped_;  // the part that is used, as I420 or BGRX; or a whole JPEG
    std::vector<std::uint8_t> scaled_;
};

}  // namespace quorvane::pixels
