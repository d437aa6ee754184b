#include "platform/linux/x11/capture_geometry.h"

#include <string>

#include <gtest/gtest.h>

#include "unit/x11/printing.h"

namespace quorvane::platform::x11 {
namespace {

TEST(CaptureGeometry, MapsARegionOfADisplayToTheRootWindow) {
    struct Row {
        std::string name;
        support::Rect sourceRect;
        PixelRect display;
        int outputWidth, outputHeight;
        PixelRect source, visible, drawn;
        bool scaled;
    };
    const PixelRect first{0, 0, 1920, 1080};
    const PixelRect second{1920, 100, 1280, 980};  // the root window is 3200x1080
    const Row rows[] = {
        {"a whole display",
         {0, 0, 1920, 1080},
         first,
         1920,
         1080,
         {0, 0, 1920, 1080},
         {0, 0, 1920, 1080},
         {0, 0, 1920, 1080},
         false},
        {"on a display elsewhere",
         {10, 20, 100, 50},
         second,
         100,
         50,
         {1930, 120, 100, 50},
         {0, 0, 100, 50},
         {0, 0, 100, 50},
         false},
        {"odd sides lose their last pixels",
         {13, 7, 101, 51},
         first,
         100,
         50,
         {13, 7, 100, 50},
         {0, 0, 100, 50},
         {0, 0, 100, 50},
         false},
        {"half the size is scaled",
         {0, 0, 200, 100},
         first,
         100,
         50,
         {0, 0, 200, 100},
         {0, 0, 200, 100},
         {0, 0, 200, 100},
         true},
        {"odd sides stay when it is scaled",
         {0, 0, 201, 101},
         first,
         100,
         50,
         {0, 0, 201, 101},
         {0, 0, 201, 101},
         {0, 0, 201, 101},
         true},
        {"too small grows",
         {5, 5, 7, 7},
         first,
         8,
         8,
         {5, 5, 7, 7},
         {0, 0, 7, 7},
         {0, 0, 7, 7},
         true},
        {"fractions are rounded",
         {10.5, 20.4, 99.6, 50.4},
         first,
         100,
         50,
         {11, 20, 100, 50},
         {0, 0, 100, 50},
         {0, 0, 100, 50},
         false},
        {"the size is rounded, not the far edge",
         {0.6, 0, 101.6, 10},
         first,
         102,
         10,
         {1, 0, 102, 10},
         {0, 0, 102, 10},
         {0, 0, 102, 10},
         false},
        {"beyond the root window",
         {1860, 1050, 100, 50},
         first,
         100,
         50,
         {1860, 1050, 100, 50},
         {0, 0, 60, 30},
         {0, 0, 60, 30},
         false},
        {"before the display",
         {-15, -5, 100, 50},
         first,
         100,
         50,
         {-15, -5, 100, 50},
         {15, 5, 85, 45},
         {14, 4, 86, 46},
         false},
        {"on another display, too",
         {-20, 0, 100, 50},
         second,
         100,
         50,
         {1900, 100, 100, 50},
         {20, 0, 80, 50},
         {20, 0, 80, 50},
         false},
        {"an odd end of what exists",
         {1860, 0, 101, 51},
         {0, 0, 1919, 1080},
         100,
         50,
         {1860, 0, 100, 50},
         {0, 0, 59, 50},
         {0, 0, 60, 50},
         false},
        {"nowhere", {5000, 0, 100, 50}, first, 100, 50, {5000, 0, 100, 50}, {}, {}, false},
        {"a negative size is the same area",
         {110, 60, -100, -50},
         first,
         100,
         50,
         {10, 10, 100, 50},
         {0, 0, 100, 50},
         {0, 0, 100, 50},
         false},
        {"nothing is a pixel",
         {10, 10, 0, 0},
         first,
         8,
         8,
         {10, 10, 1, 1},
         {0, 0, 1, 1},
         {0, 0, 1, 1},
         true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const PixelRect source = pixelRectOf(row.sourceRect).movedBy(row.display.x, row.display.y);
        const PixelRect existing = intersectionOf(row.display, {0, 0, 3200, 1080});
        const CaptureGeometry geometry =
            captureGeometryOf(source, existing, row.outputWidth, row.outputHeight, false);
        EXPECT_EQ(geometry.target, (PixelRect{0, 0, row.outputWidth, row.outputHeight}));
        EXPECT_EQ(geometry.source, row.source);
        EXPECT_EQ(geometry.visible, row.visible);
        EXPECT_EQ(geometry.drawn, row.drawn);
        EXPECT_EQ(geometry.scaled, row.scaled);
    }
}

TEST(CaptureGeometry, KeepsTheAspectOfWhatHasAnotherShape) {
    struct Row {
        std::string name;
        int width, height, outputWidth, outputHeight;
        PixelRect target;
        bool scaled;
    };
    const Row rows[] = {
        {"the output's size", 800, 600, 800, 600, {0, 0, 800, 600}, false},
        {"odd sides", 801, 601, 800, 600, {0, 0, 800, 600}, false},
        {"half the size grows", 400, 300, 800, 600, {0, 0, 800, 600}, true},
        {"wider", 800, 300, 800, 600, {0, 150, 800, 300}, true},
        {"narrower", 300, 600, 800, 600, {250, 0, 300, 600}, true},
        {"much larger and wider", 3200, 600, 800, 600, {0, 224, 800, 150}, true},
        {"the bars begin at even edges", 790, 600, 800, 600, {4, 0, 790, 600}, true},
        {"the capped size of itself", 1283, 721, 1280, 718, {0, 0, 1280, 718}, true},
        {"the capped size of a long strip", 6000, 101, 4096, 68, {0, 0, 4096, 68}, true},
        {"a line", 2000, 1, 800, 600, {0, 298, 800, 2}, true},
        {"a pixel", 1, 1, 8, 8, {0, 0, 8, 8}, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const PixelRect source{5, 7, row.width, row.height};
        const CaptureGeometry geometry =
            captureGeometryOf(source, source, row.outputWidth, row.outputHeight, true);
        EXPECT_EQ(geometry.target, row.target);
        EXPECT_EQ(geometry.scaled, row.scaled);
        EXPECT_EQ(geometry.source.x, 5);
        EXPECT_EQ(geometry.source.y, 7);
    }
}

TEST(CaptureGeometry, OfNothingIsBlack) {
    const CaptureGeometry geometry = captureGeometryOf({0, 0, 100, 50}, {}, 100, 50, true);
    EXPECT_TRUE(geometry.visible.isEmpty());
    EXPECT_TRUE(geometry.drawn.isEmpty());
}

}  // namespace
}  // namespace quorvane::platform::x11
