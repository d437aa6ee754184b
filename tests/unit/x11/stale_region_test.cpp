#include "platform/linux/x11/stale_region.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "unit/x11/printing.h"

namespace quorvane::platform::x11 {
namespace {

std::vector<PixelRect> rectsOf(const StaleRegion& region) {
    std::vector<PixelRect> rects(region.rects().begin(), region.rects().end());
    std::sort(rects.begin(), rects.end(), [](const PixelRect& a, const PixelRect& b) {
        return a.y != b.y ? a.y < b.y : a.x < b.x;
    });
    return rects;
}

TEST(StaleRegion, KeepsFewEvenRectangles) {
    struct Row {
        std::string name;
        PixelRect bounds;
        std::vector<PixelRect> added;
        std::vector<PixelRect> expected;
    };
    const PixelRect screen{0, 0, 1920, 1080};
    const Row rows[] = {
        {"nothing", screen, {}, {}},
        {"an even one stays", screen, {{10, 20, 30, 40}}, {{10, 20, 30, 40}}},
        {"an odd one grows outwards", screen, {{11, 21, 30, 40}}, {{10, 20, 32, 42}}},
        {"one pixel is a block", screen, {{5, 5, 1, 1}}, {{4, 4, 2, 2}}},
        {"cut at the bounds", screen, {{-5, 1070, 20, 20}}, {{0, 1070, 15 + 1, 10}}},
        {"an odd bound is kept", {0, 0, 101, 51}, {{99, 49, 9, 9}}, {{98, 48, 3, 3}}},
        {"bounds that begin inside", {20, 10, 50, 50}, {{0, 0, 30, 30}}, {{20, 10, 10, 20}}},
        {"outside", screen, {{1920, 0, 10, 10}, {-10, 0, 10, 10}}, {}},
        {"empty", screen, {{10, 10, 0, 5}}, {}},
        {"nothing in empty bounds", {}, {{0, 0, 5, 5}}, {}},
        {"the same twice", screen, {{10, 10, 20, 20}, {10, 10, 20, 20}}, {{10, 10, 20, 20}}},
        {"one inside the other", screen, {{0, 0, 600, 600}, {10, 10, 20, 20}}, {{0, 0, 600, 600}}},
        {"letters of a line become one",
         screen,
         {{100, 100, 10, 20}, {110, 100, 10, 20}, {130, 100, 10, 20}},
         {{100, 100, 40, 20}}},
        {"small ones far apart stay",
         screen,
         {{0, 0, 20, 20}, {1800, 1000, 20, 20}},
         {{0, 0, 20, 20}, {1800, 1000, 20, 20}}},
        {"one that bridges two",
         screen,
         {{0, 0, 400, 400}, {600, 0, 400, 400}, {400, 0, 200, 400}},
         {{0, 0, 1000, 400}}},
        {"a frame's bars stay bars",
         screen,
         {{0, 0, 1920, 20}, {0, 20, 20, 1060}},
         {{0, 0, 1920, 20}, {0, 20, 20, 1060}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        StaleRegion region(row.bounds);
        for (const PixelRect& rect : row.added)
            region.add(rect);
        EXPECT_EQ(rectsOf(region), row.expected);
        EXPECT_EQ(region.isEmpty(), row.expected.empty());
    }
}

TEST(StaleRegion, IsEmptyAfterAClear) {
    StaleRegion region({0, 0, 100, 100});
    region.add({0, 0, 10, 10});
    region.clear();
    EXPECT_TRUE(region.isEmpty());
    EXPECT_EQ(region.area(), 0);
}

TEST(StaleRegion, CoversEverythingWithinItsLimitsWhateverComes) {
    std::mt19937 random(3);
    const auto below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        const PixelRect bounds{2 * below(10), 2 * below(10), 50 + below(200), 50 + below(200)};
        StaleRegion region(bounds);
        std::vector<PixelRect> added;
        const int largest = 1 + below(120);
        for (int i = 0; i < 60; ++i) {
            added.push_back(
                {below(300) - 20, below(300) - 20, 1 + below(largest), 1 + below(largest)});
            region.add(added.back());
            ASSERT_LE(region.rects().size(), StaleRegion::maximumRects);
            ASSERT_LE(region.area(), bounds.area());
            for (const PixelRect& rect : region.rects()) {
                ASSERT_TRUE(bounds.contains(rect));
                ASSERT_FALSE(rect.isEmpty());
                ASSERT_EQ(rect.x % 2 + rect.y % 2, 0);
                ASSERT_TRUE(rect.width % 2 == 0 || rect.right() == bounds.right());
                ASSERT_TRUE(rect.height % 2 == 0 || rect.bottom() == bounds.bottom());
            }
        }
        for (const PixelRect& rect : added) {
            const PixelRect inside = intersectionOf(rect, bounds);
            for (int y = inside.y; y < inside.bottom(); ++y) {
                for (int x = inside.x; x < inside.right(); ++x) {
                    const bool covered = std::any_of(region.rects().begin(), region.rects().end(),
                                                     [&](const PixelRect& one) {
                                                         return one.contains({x, y, 1, 1});
                                                     });
                    ASSERT_TRUE(covered) << x << "," << y;
                }
            }
        }
    }
}

// With bounds large enough that the distance rule alone would keep all of them.
TEST(StaleRegion, MergesTheNearestWhenThereAreTooMany) {
    StaleRegion region({0, 0, 8000, 8000});
    for (int i = 0; i < 16; ++i)
        region.add({i % 4 * 2000, i / 4 * 2000, 10, 10});
    EXPECT_EQ(region.rects().size(), 16u);
    region.add({6000, 7000, 10, 10});
    EXPECT_EQ(region.rects().size(), 16u);
    // The newcomer and its neighbour above are as near as any two others are far: 1000 pixels.
    const auto rects = rectsOf(region);
    EXPECT_TRUE(std::find(rects.begin(), rects.end(), PixelRect{6000, 6000, 10, 1010}) !=
                rects.end());
}

}  // namespace
}  // namespace quorvane::platform::x11
