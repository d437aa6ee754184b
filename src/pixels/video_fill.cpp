#include "pixels/video_fill.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>
#include <libyuv/scale_argb.h>
#include <turbojpeg.h>

namespace quorvane::pixels {
namespace {

using support::VideoFormat;
using support::VideoPicture;

constexpr int largestSide = 16384;  // pixels; more is no camera's picture
constexpr std::uint32_t opaque = 0xFF000000;

int half(int size) {
    return (size + 1) / 2;
}

const libyuv::YuvConstants* constantsOf(const VideoPicture& picture) {
    const bool full =
        picture.format == VideoFormat::jpeg || picture.range == support::VideoRange::full;
    if (picture.matrix == support::VideoMatrix::bt709) {
        return full ? &libyuv::kYuvF709Constants : &libyuv::kYuvH709Constants;
    }
    return full ? &libyuv::kYuvJPEGConstants : &libyuv::kYuvI601Constants;
}

// The byte at which a packed format's pixel lies.
const std::uint8_t* pixelOf(const VideoPicture& picture, int x, int y) {
    const auto& plane = picture.planes[0];
    return plane.bytes + plane.stride * y + planeRowBytes(picture.format, 0, x);
}

std::uint8_t* grown(std::vector<std::uint8_t>& memory, std::size_t size) {
    if (memory.size() < size) memory.resize(size);
    return memory.data();
}

std::uint8_t* bytesOf(PackedTarget target) {
    return reinterpret_cast<std::uint8_t*>(target.pixels);
}

}  // namespace

// A planar picture with its colour at half the size both ways.
struct VideoFill::Planes {
    int width = 0;
    int height = 0;
    const std::uint8_t* y = nullptr;
    const std::uint8_t* u = nullptr;
    const std::uint8_t* v = nullptr;
    int strideY = 0;
    int strideU = 0;
    int strideV = 0;

    static std::size_t sizeFor(int width, int height) {
        return static_cast<std::size_t>(width) * height +
               2 * static_cast<std::size_t>(half(width)) * half(height);
    }
    // Planes one behind the other in that memory.
    static Planes in(const std::uint8_t* memory, int width, int height) {
        const std::size_t luma = static_cast<std::size_t>(width) * height;
        const std::size_t chroma = static_cast<std::size_t>(half(width)) * half(height);
        return {width, height,      memory,     memory + luma, memory + luma + chroma,
                width, half(width), half(width)};
    }
    Planes part(const VideoCrop& crop) const {
        Planes planes = *this;
        planes.width = crop.width;
        planes.height = crop.height;
        planes.y += static_cast<std::ptrdiff_t>(strideY) * crop.y + crop.x;
        planes.u += static_cast<std::ptrdiff_t>(strideU) * (crop.y / 2) + crop.x / 2;
        planes.v += static_cast<std::ptrdiff_t>(strideV) * (crop.y / 2) + crop.x / 2;
        return planes;
    }
};

struct VideoFill::JpegDecoder {
    JpegDecoder() : handle(tjInitDecompress()) {}
    ~JpegDecoder() {
        if (handle != nullptr) tjDestroy(handle);
    }
    JpegDecoder(const JpegDecoder&) = delete;
    JpegDecoder& operator=(const JpegDecoder&) = delete;

    tjhandle handle;  // null when there was no memory
};

VideoFill::VideoFill() = default;
VideoFill::~VideoFill() = default;

int planeCount(VideoFormat format) {
    if (format == VideoFormat::i420) return 3;
    return format == VideoFormat::nv12 ? 2 : 1;
}

int planeRows(VideoFormat format, int plane, int height) {
    if (format == VideoFormat::jpeg) return 0;
    return plane == 0 ? height : half(height);
}

int planeRowBytes(VideoFormat format, int plane, int width) {
    switch (format) {
        case VideoFormat::yuy2:
        case VideoFormat::uyvy:
            return 4 * half(width);
        case VideoFormat::nv12:
            return plane == 0 ? width : 2 * half(width);
        case VideoFormat::i420:
            return plane == 0 ? width : half(width);
        case VideoFormat::bgrx:
        case VideoFormat::rgbx:
            return 4 * width;
        case VideoFormat::bgr:
        case VideoFormat::rgb:
            return 3 * width;
        case VideoFormat::jpeg:
            return 0;
    }
    return 0;
}

bool isComplete(const VideoPicture& picture) {
    if (picture.width < 1 || picture.height < 1 || picture.width > largestSide ||
        picture.height > largestSide) {
        return false;
    }
    for (int index = 0; index < planeCount(picture.format); ++index) {
        const auto& plane = picture.planes[static_cast<std::size_t>(index)];
        const auto rowBytes =
            static_cast<std::size_t>(planeRowBytes(picture.format, index, picture.width));
        const auto rows =
            static_cast<std::size_t>(planeRows(picture.format, index, picture.height));
        if (plane.bytes == nullptr || plane.size == 0) return false;
        if (picture.format == VideoFormat::jpeg) continue;
        if (plane.stride < static_cast<std::ptrdiff_t>(rowBytes) || plane.stride > (1 << 24) ||
            plane.size < static_cast<std::size_t>(plane.stride) * (rows - 1) + rowBytes) {
            return false;
        }
    }
    return true;
}

VideoCrop aspectFillCrop(int width, int height, int targetWidth, int targetHeight) {
    const double scale = std::max(static_cast<double>(targetWidth) / width,
                                  static_cast<double>(targetHeight) / height);
    VideoCrop crop;
    crop.width = std::clamp(static_cast<int>(std::lround(targetWidth / scale)), 1, width);
    crop.height = std::clamp(static_cast<int>(std::lround(targetHeight / scale)), 1, height);
    crop.x = (width - crop.width) / 2 & ~1;
    crop.y = (height - crop.height) / 2 & ~1;
    return crop;
}

bool VideoFill::draw(const VideoPicture& picture, int width, int height, PackedTarget target) {
    if (!isComplete(picture) || width < 1 || height < 1) return false;
    if (picture.format == VideoFormat::jpeg) return drawJpeg(picture, width, height, target);
    Planes planes;
    const auto crop = aspectFillCrop(picture.width, picture.height, width, height);
    const auto stride = [&](std::size_t plane) {
        return static_cast<int>(picture.planes[plane].stride);
    };
    if (picture.format == VideoFormat::i420) {
        planes = {picture.width,
                  picture.height,
                  picture.planes[0].bytes,
                  picture.planes[1].bytes,
                  picture.planes[2].bytes,
                  stride(0),
                  stride(1),
                  stride(2)};
        return drawPlanes(planes.part(crop), picture, width, height, target);
    }
    if (picture.format != VideoFormat::nv12 && picture.format != VideoFormat::yuy2 &&
        picture.format != VideoFormat::uyvy) {
        return drawPacked(picture, crop, width, height, target);
    }

    auto* memory = grown(cropped_, Planes::sizeFor(crop.width, crop.height));
    planes = Planes::in(memory, crop.width, crop.height);
    auto* y = memory;
    auto* u = memory + (planes.u - memory);
    auto* v = memory + (planes.v - memory);
    int result = 0;
    if (picture.format == VideoFormat::nv12) {
        const auto* uv = picture.planes[1].bytes + picture.planes[1].stride * (crop.y / 2) + crop.x;
        result = libyuv::NV12ToI420(pixelOf(picture, crop.x, crop.y), stride(0), uv, stride(1), y,
                                    planes.strideY, u, planes.strideU, v, planes.strideV,
                                    crop.width, crop.height);
    } else {
        const auto convert =
            picture.format == VideoFormat::yuy2 ? libyuv::YUY2ToI420 : libyuv::UYVYToI420;
        result = convert(pixelOf(picture, crop.x, crop.y), stride(0), y, planes.strideY, u,
                         planes.strideU, v, planes.strideV, crop.width, crop.height);
    }
    return result == 0 && drawPlanes(planes, picture, width, height, target);
}

bool VideoFill::drawPlanes(const Planes& planes, const VideoPicture& picture, int width, int height,
                           PackedTarget target) {
    auto* memory = grown(scaled_, Planes::sizeFor(width, height));
    const auto scaled = Planes::in(memory, width, height);
    auto* u = memory + (scaled.u - memory);
    auto* v = memory + (scaled.v - memory);
    if (libyuv::I420Scale(planes.y, planes.strideY, planes.u, planes.strideU, planes.v,
                          planes.strideV, planes.width, planes.height, memory, scaled.strideY, u,
                          scaled.strideU, v, scaled.strideV, width, height,
                          libyuv::kFilterBox) != 0) {
        return false;
    }
    return libyuv::I420ToARGBMatrix(scaled.y, scaled.strideY, scaled.u, scaled.strideU, scaled.v,
                                    scaled.strideV, bytesOf(target),
                                    static_cast<int>(target.stride * 4), constantsOf(picture),
                                    width, height) == 0;
}

bool VideoFill::drawPacked(const VideoPicture& picture, const VideoCrop& crop, int width,
                           int height, PackedTarget target) {
    const auto* source = pixelOf(picture, crop.x, crop.y);
    int stride = static_cast<int>(picture.planes[0].stride);
    if (picture.format != VideoFormat::bgrx) {
        auto* memory = grown(cropped_, 4 * static_cast<std::size_t>(crop.width) * crop.height);
        const auto convert = picture.format == VideoFormat::rgbx  ? libyuv::ABGRToARGB
                             : picture.format == VideoFormat::rgb ? libyuv::RAWToARGB
                                                                  : libyuv::RGB24ToARGB;
        if (convert(source, stride, memory, 4 * crop.width, crop.width, crop.height) != 0) {
            return false;
        }
        source = memory;
        stride = 4 * crop.width;
    }
    if (libyuv::ARGBScale(source, stride, crop.width, crop.height, bytesOf(target),
                          static_cast<int>(target.stride * 4), width, height,
                          libyuv::kFilterBox) != 0) {
        return false;
    }
    for (int y = 0; y < height; ++y) {
        auto* row = target.at(0, y);
        for (int x = 0; x < width; ++x)
            row[x] |= opaque;
    }
    return true;
}

bool VideoFill::drawJpeg(const VideoPicture& picture, int width, int height, PackedTarget target) {
    if (!jpegDecoder_) jpegDecoder_ = std::make_unique<JpegDecoder>();
    auto* decoder = jpegDecoder_->handle;
    const auto& plane = picture.planes[0];
    int fullWidth = 0;
    int fullHeight = 0;
    int subsampling = 0;
    int colors = 0;
    if (decoder == nullptr || tjDecompressHeader3(decoder, plane.bytes, plane.size, &fullWidth,
                                                  &fullHeight, &subsampling, &colors) != 0) {
        return false;
    }
    // Decoding at an eighth, a quarter or a half costs so much less.
    tjscalingfactor factor{1, 8};
    while (factor.denom > 1 &&
           (TJSCALED(fullWidth, factor) < width || TJSCALED(fullHeight, factor) < height)) {
        factor.denom /= 2;
    }
    VideoPicture decoded;
    decoded.format = VideoFormat::bgrx;
    decoded.width = TJSCALED(fullWidth, factor);
    decoded.height = TJSCALED(fullHeight, factor);
    if (decoded.width < 1 || decoded.height < 1 || decoded.width > largestSide ||
        decoded.height > largestSide) {
        return false;
    }
    const int stride = 4 * decoded.width;
    const std::size_t size = static_cast<std::size_t>(stride) * decoded.height;
    auto* memory = grown(cropped_, size);
    if (tjDecompress2(decoder, plane.bytes, plane.size, memory, decoded.width, stride,
                      decoded.height, TJPF_BGRX, 0) != 0 &&
        tjGetErrorCode(decoder) != TJERR_WARNING) {
        return false;
    }
    decoded.planes[0] = {memory, stride, size};
    return drawPacked(decoded, aspectFillCrop(decoded.width, decoded.height, width, height), width,
                      height, target);
}

}  // namespace quorvane::pixels
