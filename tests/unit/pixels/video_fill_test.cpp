#include "pixels/video_fill.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include <gtest/gtest.h>

namespace quorvane::pixels {
namespace {

using support::VideoFormat;
using support::VideoPicture;

// A picture whose left half is one colour and whose right half another, in every format.
class HalvedPicture {
  public:
    struct Sample {
        std::uint32_t rgb;
        std::uint8_t y;
        std::uint8_t u;
        std::uint8_t v;
    };
    // BT.601, limited range.
    static constexpr Sample red{0xFF0000, 81, 90, 240};
    static constexpr Sample blue{0x0000FF, 41, 240, 110};

    HalvedPicture(VideoFormat format, int width, int height, int padding = 0) {
        picture.format = format;
        picture.width = width;
        picture.height = height;
        for (int index = 0; index < planeCount(format); ++index) {
            const int stride = planeRowBytes(format, index, width) + padding;
            auto& plane = picture.planes[static_cast<std::size_t>(index)];
            auto& memory = memory_[static_cast<std::size_t>(index)];
            memory.assign(static_cast<std::size_t>(stride) * planeRows(format, index, height), 77);
            plane = {memory.data(), stride, memory.size()};
        }
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                store(x, y, x < width / 2 ? red : blue);
        }
    }

    VideoPicture picture;

  private:
    std::uint8_t& byte(std::size_t plane, int x, int y) {
        return memory_[plane][static_cast<std::size_t>(picture.planes[plane].stride * y + x)];
    }
    void store(int x, int y, const Sample& s) {
        const auto red8 = static_cast<std::uint8_t>(s.rgb >> 16);
        const auto blue8 = static_cast<std::uint8_t>(s.rgb);
        switch (picture.format) {
            case VideoFormat::yuy2:
                byte(0, 2 * x, y) = s.y;
                byte(0, 2 * x + 1, y) = x % 2 == 0 ? s.u : s.v;
                break;
            case VideoFormat::uyvy:
                byte(0, 2 * x + 1, y) = s.y;
                byte(0, 2 * x, y) = x % 2 == 0 ? s.u : s.v;
                break;
            case VideoFormat::nv12:
                byte(0, x, y) = s.y;
                byte(1, x / 2 * 2, y / 2) = s.u;
                byte(1, x / 2 * 2 + 1, y / 2) = s.v;
                break;
            case VideoFormat::i420:
                byte(0, x, y) = s.y;
                byte(1, x / 2, y / 2) = s.u;
                byte(2, x / 2, y / 2) = s.v;
                break;
            case VideoFormat::bgrx:
            case VideoFormat::bgr: {
                const int size = picture.format == VideoFormat::bgr ? 3 : 4;
                byte(0, size * x, y) = blue8;
                byte(0, size * x + 1, y) = 0;
                byte(0, size * x + 2, y) = red8;
                break;
            }
            case VideoFormat::rgbx:
            case VideoFormat::rgb: {
                const int size = picture.format == VideoFormat::rgb ? 3 : 4;
                byte(0, size * x, y) = red8;
                byte(0, size * x + 1, y) = 0;
                byte(0, size * x + 2, y) = blue8;
                break;
            }
            case VideoFormat::jpeg:
                break;
        }
    }

    std::array<std::vector<std::uint8_t>, 3> memory_;
};

// Scaling rounds each of Y, U and V down, which red and blue feel most.
void expectColor(std::uint32_t actual, std::uint32_t expected) {
    EXPECT_EQ(actual >> 24, 0xFFU);
    for (const int shift : {0, 8, 16}) {
        EXPECT_LE(std::abs(static_cast<int>(actual >> shift & 0xFF) -
                           static_cast<int>(expected >> shift & 0xFF)),
                  6)
            << std::hex << actual << " is not " << expected;
    }
}

TEST(VideoFill, EveryFormatIsDrawnInItsColorsWhateverItsStride) {
    constexpr VideoFormat everyFormat[] = {VideoFormat::yuy2, VideoFormat::uyvy, VideoFormat::nv12,
                                           VideoFormat::i420, VideoFormat::bgrx, VideoFormat::rgbx,
                                           VideoFormat::bgr,  VideoFormat::rgb};
    for (const auto format : everyFormat) {
        for (const int padding : {0, 32}) {
            SCOPED_TRACE("format " + std::to_string(static_cast<int>(format)) + ", padding " +
                         std::to_string(padding));
            const HalvedPicture source(format, 64, 48, padding);
            VideoFill fill;
            std::vector<std::uint32_t> pixels(25 * 20, 0);
            ASSERT_TRUE(fill.draw(source.picture, 24, 20, {pixels.data(), 25}));
            expectColor(pixels[10 * 25 + 3], 0xFF0000);
            expectColor(pixels[10 * 25 + 20], 0x0000FF);
            EXPECT_EQ(pixels[10 * 25 + 24], 0U) << "beyond the row";
        }
    }
}

TEST(VideoFill, BroadcastColorsAndFullRangeAreTold) {
    // The same bytes, 81 90 240, in other systems.
    struct Row {
        const char* name;
        support::VideoMatrix matrix;
        support::VideoRange range;
        std::uint32_t color;
    };
    const Row rows[] = {
        {"BT.601", support::VideoMatrix::bt601, support::VideoRange::limited, 0xFF0000},
        {"BT.709", support::VideoMatrix::bt709, support::VideoRange::limited, 0xFF1800},
        {"BT.601, full", support::VideoMatrix::bt601, support::VideoRange::full, 0xEE0E0E},
        {"BT.709, full", support::VideoMatrix::bt709, support::VideoRange::full, 0xFF230B},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        HalvedPicture source(VideoFormat::i420, 16, 16);
        source.picture.matrix = row.matrix;
        source.picture.range = row.range;
        VideoFill fill;
        std::vector<std::uint32_t> pixels(16 * 16);
        ASSERT_TRUE(fill.draw(source.picture, 16, 16, {pixels.data(), 16}));
        expectColor(pixels[2], row.color);
    }
}

TEST(VideoFill, TheMiddleOfAPictureFillsTheTarget) {
    struct Row {
        const char* name;
        int width;
        int height;
        int targetWidth;
        int targetHeight;
        VideoCrop crop;
    };
    const Row rows[] = {
        {"a wide picture in a square", 640, 480, 240, 240, {80, 0, 480, 480}},
        {"a wide picture in a card", 640, 480, 240, 320, {140, 0, 360, 480}},
        {"a high picture in a square", 480, 640, 200, 200, {0, 80, 480, 480}},
        {"the same shape", 640, 480, 320, 240, {0, 0, 640, 480}},
        {"enlarged", 160, 120, 600, 600, {20, 0, 120, 120}},
        {"extremely wide", 1000, 2, 100, 100, {498, 0, 2, 2}},
        {"a sliver", 640, 480, 1, 1000, {318, 0, 1, 480}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(aspectFillCrop(row.width, row.height, row.targetWidth, row.targetHeight),
                  row.crop);
    }
}

TEST(VideoFill, SizesThatAreOddOrTinyAreDrawn) {
    for (const auto format :
         {VideoFormat::yuy2, VideoFormat::nv12, VideoFormat::i420, VideoFormat::bgr}) {
        for (const int side : {1, 2, 3, 7, 33}) {
            SCOPED_TRACE(side);
            const HalvedPicture source(format, 2 * side, side);
            VideoFill fill;
            for (const int target : {1, 5, 40}) {
                std::vector<std::uint32_t> pixels(static_cast<std::size_t>(target) * target);
                EXPECT_TRUE(fill.draw(source.picture, target, target, {pixels.data(), target}));
            }
        }
    }
}

TEST(VideoFill, APictureWithTooFewBytesIsRefused) {
    std::vector<std::uint32_t> pixels(16 * 16);
    VideoFill fill;
    const auto isDrawn = [&](const VideoPicture& picture) {
        return fill.draw(picture, 16, 16, {pixels.data(), 16});
    };
    struct Row {
        const char* name;
        void (*spoil)(VideoPicture&);
    };
    const Row rows[] = {
        {"no bytes", [](VideoPicture& p) { p.planes[0].bytes = nullptr; }},
        {"one byte too few", [](VideoPicture& p) { --p.planes[1].size; }},
        {"a plane is missing", [](VideoPicture& p) { p.planes[2] = {}; }},
        {"rows overlap", [](VideoPicture& p) { --p.planes[0].stride; }},
        {"upside down", [](VideoPicture& p) { p.planes[0].stride *= -1; }},
        {"no width", [](VideoPicture& p) { p.width = 0; }},
        {"a negative height", [](VideoPicture& p) { p.height = -1; }},
        {"larger than any camera's", [](VideoPicture& p) { p.width = 1 << 20; }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        HalvedPicture source(VideoFormat::i420, 64, 48);
        ASSERT_TRUE(isDrawn(source.picture));
        row.spoil(source.picture);
        EXPECT_FALSE(isDrawn(source.picture));
    }
}

TEST(VideoFill, BytesThatAreNoJpegAreRefused) {
    std::vector<std::uint8_t> bytes(1000, 0xFF);
    bytes[1] = 0xD8;
    VideoPicture picture;
    picture.format = VideoFormat::jpeg;
    picture.width = 64;
    picture.height = 48;
    picture.planes[0] = {bytes.data(), 0, bytes.size()};
    std::vector<std::uint32_t> pixels(16 * 16);
    VideoFill fill;
    EXPECT_FALSE(fill.draw(picture, 16, 16, {pixels.data(), 16}));
}

}  // namespace
}  // namespace quorvane::pixels
