#include "pixels/bubble_painter.h"

#include <cmath>

#include <gtest/gtest.h>

namespace quorvane::pixels {
namespace {

constexpr Color white85{1, 1, 1, 0.85};
constexpr Color black{0, 0, 0, 1};
constexpr std::uint32_t green = 0xFF00C000;

BubbleLook lookOf(int width, int height, double radius) {
    return {width, height, radius, 2.0, white85, black, true, false};
}

class Painted {
  public:
    explicit Painted(const BubbleLook& look, std::uint32_t color = green)
        : painter(look),
          picture_(static_cast<std::size_t>(look.width) * look.height, color),
          pixels_(static_cast<std::size_t>(painter.width()) * painter.height(), 0x12345678) {
        const PackedTarget target{pixels_.data(), painter.width()};
        painter.paintSurroundings(target);
        painter.paint({picture_.data(), look.width}, target);
    }
    // From the upper left of the bubble.
    std::uint32_t at(int x, int y) const {
        return pixels_.at(static_cast<std::size_t>(y + painter.margin()) * painter.width() + x +
                          painter.margin());
    }
    double areaInside() const {
        double area = 0;
        for (const auto pixel : pixels_)
            area += (pixel >> 24) / 255.0;
        return area;
    }

    BubblePainter painter;

  private:
    std::vector<std::uint32_t> picture_;
    std::vector<std::uint32_t> pixels_;
};

TEST(BubblePainter, TheMaskHasTheAreaOfTheRoundedRectangle) {
    struct Row {
        const char* name;
        int width;
        int height;
        double radius;
        double drawnRadius;
    };
    const Row rows[] = {
        {"a circle", 200, 200, 100, 100},
        {"a card", 240, 320, 32, 32},
        {"a small card", 90, 120, 18, 18},
        {"a card smaller than its radius is a pill", 20, 40, 18, 10},
        {"odd sides", 61, 81, 30.5, 30.5},
        {"no radius", 50, 40, 0, 0},
        {"a negative radius", 50, 40, -5, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Painted painted(lookOf(row.width, row.height, row.radius));
        const double corners = (4 - M_PI) * row.drawnRadius * row.drawnRadius;
        EXPECT_NEAR(painted.areaInside(), row.width * row.height - corners,
                    0.002 * row.width * row.height);
    }
}

TEST(BubblePainter, ABorderOfTwoPixelsLiesInsideTheOutlineOverThePicture) {
    const Painted painted(lookOf(100, 100, 18));
    // White at 0.85 over 0x00C000: 217 of red and blue, 217 + 192 * 0.15 of green.
    for (int y : {0, 1})
        EXPECT_EQ(painted.at(50, y), 0xFFD9F6D9) << y;
    EXPECT_EQ(painted.at(50, 2), green);
    EXPECT_EQ(painted.at(99, 50), 0xFFD9F6D9);
    EXPECT_EQ(painted.at(97, 50), green);
    EXPECT_EQ(painted.at(0, 0), 0U);
}

TEST(BubblePainter, ColorsOnTheOutlineArePremultiplied) {
    const Painted painted(lookOf(101, 101, 50.5));
    int partial = 0;
    for (int y = 0; y < 101; ++y) {
        for (int x = 0; x < 101; ++x) {
            const auto pixel = painted.at(x, y);
            const auto alpha = pixel >> 24;
            partial += alpha > 0 && alpha < 255;
            for (const int shift : {0, 8, 16})
                ASSERT_LE(pixel >> shift & 0xFF, alpha) << x << ' ' << y;
        }
    }
    EXPECT_GT(partial, 200);
}

TEST(BubblePainter, WithoutTranslucencyEveryPixelIsInOrOut) {
    auto look = lookOf(80, 60, 30);
    look.isTranslucent = false;
    look.hasShadow = true;
    const Painted painted(look);
    EXPECT_EQ(painted.painter.margin(), 0);
    const auto spans = painted.painter.outline();
    ASSERT_EQ(spans.size(), 60U);
    for (int y = 0; y < 60; ++y) {
        const auto& span = spans[static_cast<std::size_t>(y)];
        for (int x = 0; x < 80; ++x) {
            const bool inside = x >= span.first && x < span.last;
            ASSERT_EQ(painted.at(x, y) >> 24, inside ? 255U : 0U) << x << ' ' << y;
        }
    }
    EXPECT_EQ(spans[30], (RowSpan{0, 80}));
}

TEST(BubblePainter, TheShadowIsBlackSoftAndFallsDownwards) {
    auto look = lookOf(120, 120, 60);
    look.hasShadow = true;
    const Painted painted(look);
    ASSERT_EQ(painted.painter.width(), 120 + 2 * painted.painter.margin());
    const auto below = [&](int distance) { return painted.at(60, 119 + distance); };
    const auto above = [&](int distance) { return painted.at(60, -distance); };
    EXPECT_EQ(below(3) & 0xFFFFFF, 0U);
    EXPECT_GT(below(3) >> 24, 40U);
    EXPECT_GT(below(3) >> 24, above(3) >> 24);
    EXPECT_GT(below(6) >> 24, below(12) >> 24);
    EXPECT_LE(below(painted.painter.margin()) >> 24, 1U);
    EXPECT_EQ(above(painted.painter.margin()) >> 24, 0U);
}

TEST(BubblePainter, WithoutAPictureTheBackgroundShows) {
    const BubblePainter painter(lookOf(40, 40, 10));
    std::vector<std::uint32_t> pixels(40 * 40, 0x12345678);
    const PackedTarget target{pixels.data(), 40};
    painter.paintSurroundings(target);
    painter.paint({}, target);
    EXPECT_EQ(*target.at(20, 20), 0xFF000000);
    EXPECT_EQ(*target.at(20, 0), 0xFFD9D9D9);
}

}  // namespace
}  // namespace quorvane::pixels
