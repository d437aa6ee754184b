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
        const CaptureGeometry geometry = captureGeometryOf(row.sourceRect, row.display, 3200, 1080,
                                                           row.outputWidth, row.outputHeight);
        EXPECT_EQ(geometry.source, row.source);
        EXPECT_EQ(geometry.visible, row.visible);
        EXPECT_EQ(geometry.drawn, row.drawn);
        EXPECT_EQ(geometry.scaled, row.scaled);
    }
}

}  // namespace
}  // namespace quorvane::platform::x11
