#include "platform/linux/x11/bubble_geometry.h"

#include <limits>

#include <gtest/gtest.h>

namespace quorvane::platform::x11 {
namespace {

TEST(BubbleGeometry, ARectangleFromTheLowerLeftOfTheMainScreenIsPlacedOnTheRootWindow) {
    const PixelRect only{0, 0, 1920, 1080};
    const PixelRect right{1920, 200, 1280, 720};
    struct Row {
        const char* name;
        support::Rect rect;
        PixelRect screen;
        PixelRect placed;
    };
    const Row rows[] = {
        {"the corner", {0, 0, 240, 240}, only, {0, 840, 240, 240}},
        {"inside", {100, 200, 240, 320}, only, {100, 560, 240, 320}},
        {"at the top", {0, 840, 240, 240}, only, {0, 0, 240, 240}},
        {"beyond the screen", {-50, -60, 240, 240}, only, {-50, 900, 240, 240}},
        {"on a screen to the right", {10, 20, 240, 240}, right, {1930, 660, 240, 240}},
        {"left of that screen", {-300, 20, 240, 240}, right, {1620, 660, 240, 240}},
        {"fractions go to the nearest pixel", {0.4, 0.4, 100.2, 100.2}, only, {0, 979, 101, 101}},
        {"halves go to the right and down", {0.5, 0.5, 10, 10}, only, {1, 1070, 10, 10}},
        {"no width", {10, 10, 0, 100}, only, {}},
        {"a negative height", {10, 10, 100, -100}, only, {}},
        {"less than half a pixel", {10, 10, 0.3, 0.3}, only, {10, 1070, 0, 0}},
        {"larger than the root window", {0, 0, 1e6, 1e6}, only, {0, 0, 3200, 1080}},
        {"higher than the root window", {40, 50, 2000, 2000}, only, {40, -50, 2000, 1080}},
        {"far away", {1e9, 0, 100, 100}, only, {30000, 980, 0, 100}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto placed = placeOnRoot(row.rect, row.screen, 3200, 1080);
        if (row.placed.isEmpty()) {
            EXPECT_TRUE(placed.isEmpty());
        } else {
            EXPECT_EQ(placed, row.placed);
        }
    }
}

}  // namespace
}  // namespace quorvane::platform::x11
