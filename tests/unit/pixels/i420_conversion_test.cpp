#include "pixels/i420_conversion.h"

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::pixels {
namespace {

// The exact formula, in doubles.
struct ExactYuv {
    double y = 0;
    double u = 0;
    double v = 0;
};

ExactYuv exactOf(std::uint32_t pixel, PackedFormat format) {
    const int bits = format == PackedFormat::xrgb8888 ? 8 : 10;
    const double full = (1 << bits) - 1;
    const auto component = [&](int index) {
        return ((pixel >> (index * bits)) & ((1u << bits) - 1)) / full;
    };
    const double b = component(0);
    const double g = component(1);
    const double r = component(2);
    const double y = 0.2126 * r + 0.7152 * g + 0.0722 * b;
    return {16 + 219 * y, 128 + 224 * (b - y) / 1.8556, 128 + 224 * (r - y) / 1.5748};
}

class Converted {
  public:
    static constexpr int margin = 40;  // bytes that nothing may write, around each plane
    static constexpr std::uint8_t untouched = 0xA5;

    Converted(int width, int height) : width_(width), height_(height) {
        for (int plane = 0; plane < 3; ++plane) {
            strides_[plane] = planeWidth(plane) + 7 + plane;
            planes_[plane].assign(
                static_cast<std::size_t>(strides_[plane] * planeHeight(plane) + 2 * margin),
                untouched);
        }
    }
    I420Rows rows() {
        I420Rows rows;
        for (std::size_t plane = 0; plane < 3; ++plane) {
            rows.planes[plane] = planes_[plane].data() + margin;
            rows.strides[plane] = strides_[plane];
        }
        return rows;
    }
    int planeWidth(int plane) const { return plane == 0 ? width_ : (width_ + 1) / 2; }
    int planeHeight(int plane) const { return plane == 0 ? height_ : (height_ + 1) / 2; }
    int at(int plane, int x, int y) const {
        return planes_[plane][static_cast<std::size_t>(margin + y * strides_[plane] + x)];
    }
    bool nothingElseWritten() const {
        for (int plane = 0; plane < 3; ++plane) {
            for (int i = 0; i < static_cast<int>(planes_[plane].size()); ++i) {
                const int position = i - margin;
                const int y = position < 0 ? -1 : position / strides_[plane];
                const int x = position - y * strides_[plane];
                const bool inside =
                    position >= 0 && y < planeHeight(plane) && x < planeWidth(plane);
                if (!inside && planes_[plane][static_cast<std::size_t>(i)] != untouched) {
                    return false;
                }
            }
        }
        return true;
    }

  private:
    int width_;
    int height_;
    int strides_[3]{};
    std::vector<std::uint8_t> planes_[3];
};

// The largest distance from the exact formula.
double worstErrorOf(const std::vector<std::uint32_t>& pixels, int stride, PackedFormat format,
                    int width, int height) {
    Converted converted(width, height);
    convertToI420({pixels.data(), stride}, format, width, height, converted.rows());
    EXPECT_TRUE(converted.nothingElseWritten());
    const auto exactAt = [&](int x, int y) {
        return exactOf(pixels[static_cast<std::size_t>(y * stride + x)], format);
    };
    double worst = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            worst = std::max(worst, std::abs(converted.at(0, x, y) - exactAt(x, y).y));
        }
    }
    for (int y = 0; y < height; y += 2) {
        for (int x = 0; x < width; x += 2) {
            ExactYuv sum;
            int count = 0;
            for (int row = y; row < std::min(y + 2, height); ++row) {
                for (int column = x; column < std::min(x + 2, width); ++column, ++count) {
                    sum.u += exactAt(column, row).u;
                    sum.v += exactAt(column, row).v;
                }
            }
            worst = std::max(worst, std::abs(converted.at(1, x / 2, y / 2) - sum.u / count));
            worst = std::max(worst, std::abs(converted.at(2, x / 2, y / 2) - sum.v / count));
        }
    }
    return worst;
}

struct FormatCase {
    std::string name;
    PackedFormat format;
    std::uint32_t full;  // the largest value of a component
    int bits;
};

const FormatCase formats[] = {
    {"8 bits a component", PackedFormat::xrgb8888, 255, 8},
    {"10 bits a component", PackedFormat::xrgb2101010, 1023, 10},
};

TEST(I420Conversion, IsWithinOneOfTheFormulaForRandomPixelsOfEveryWidth) {
    std::mt19937 random(1);
    for (const FormatCase& row : formats) {
        SCOPED_TRACE(row.name);
        for (int width = 1; width <= 130; ++width) {
            SCOPED_TRACE("width " + std::to_string(width));
            const int height = 2 + width % 3;
            const int stride = width + width % 5;
            std::vector<std::uint32_t> pixels(static_cast<std::size_t>(stride * height));
            for (std::uint32_t& pixel : pixels)
                pixel = static_cast<std::uint32_t>(random());
            EXPECT_LT(worstErrorOf(pixels, stride, row.format, width, height), 1.0);
        }
    }
}

TEST(I420Conversion, IsWithinOneOfTheFormulaForExtremePixels) {
    for (const FormatCase& row : formats) {
        SCOPED_TRACE(row.name);
        std::mt19937 random(2);
        const int width = 128;
        const int height = 64;
        std::vector<std::uint32_t> pixels(width * height);
        for (std::uint32_t& pixel : pixels) {
            pixel = static_cast<std::uint32_t>(random()) & 0xC0000000;  // the bits without meaning
            for (int component = 0; component < 3; ++component) {
                const std::uint32_t choices[] = {0, 1, row.full - 1, row.full};
                pixel |= choices[random() % 4] << (component * row.bits);
            }
        }
        EXPECT_LT(worstErrorOf(pixels, width, row.format, width, height), 1.0);
    }
}

TEST(I420Conversion, GivesTheKnownValuesOfPureColours) {
    struct ColourCase {
        std::string name;
        bool red, green, blue;
        int y, u, v;
    };
    const ColourCase rows[] = {
        {"black", false, false, false, 16, 128, 128}, {"white", true, true, true, 235, 128, 128},
        {"red", true, false, false, 63, 102, 240},    {"green", false, true, false, 173, 42, 26},
        {"blue", false, false, true, 32, 240, 118},   {"yellow", true, true, false, 219, 16, 138},
        {"cyan", false, true, true, 188, 154, 16},    {"magenta", true, false, true, 78, 214, 230},
    };
    for (const FormatCase& format : formats) {
        for (const ColourCase& row : rows) {
            // 32 columns go the vector way, 2 columns the other.
            for (const int width : {32, 2}) {
                SCOPED_TRACE(format.name + ", " + row.name + ", width " + std::to_string(width));
                const std::uint32_t pixel = (row.blue ? format.full : 0) |
                                            (row.green ? format.full : 0) << format.bits |
                                            (row.red ? format.full : 0) << 2 * format.bits;
                const std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width * 2), pixel);
                Converted converted(width, 2);
                convertToI420({pixels.data(), width}, format.format, width, 2, converted.rows());
                EXPECT_EQ(converted.at(0, 0, 0), row.y);
                EXPECT_EQ(converted.at(0, width - 1, 1), row.y);
                EXPECT_EQ(converted.at(1, width / 2 - 1, 0), row.u);
                EXPECT_EQ(converted.at(2, width / 2 - 1, 0), row.v);
            }
        }
    }
}

TEST(I420Conversion, KeepsEveryGreyNeutral) {
    std::vector<std::uint32_t> pixels(2 * 256);
    for (std::uint32_t x = 0; x < 256; ++x)
        pixels[x] = pixels[256 + x] = x / 2 * 2 * 0x010101;
    Converted converted(256, 2);
    convertToI420({pixels.data(), 256}, PackedFormat::xrgb8888, 256, 2, converted.rows());
    for (int x = 0; x < 128; ++x) {
        EXPECT_EQ(converted.at(1, x, 0), 128);
        EXPECT_EQ(converted.at(2, x, 0), 128);
    }
}

TEST(I420Conversion, FindsTheSamplesOfARectangleInsideThePlanes) {
    std::uint8_t memory[3] = {};
    const I420Rows rows{{memory, memory + 1, memory + 2}, {100, 50, 60}};
    const I420Rows inner = rows.at(8, 6);
    EXPECT_EQ(inner.planes[0] - memory, 6 * 100 + 8);
    EXPECT_EQ(inner.planes[1] - (memory + 1), 3 * 50 + 4);
    EXPECT_EQ(inner.planes[2] - (memory + 2), 3 * 60 + 4);
    EXPECT_EQ(inner.strides, rows.strides);
}

}  // namespace
}  // namespace quorvane::pixels
