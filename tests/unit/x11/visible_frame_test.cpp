#include "platform/linux/x11/visible_frame.h"

#include <vector>

#include <gtest/gtest.h>

namespace quorvane::platform::x11 {
namespace {

using support::Rect;

TEST(VisibleFrame, HasTheDecorationsAndNotTheShadows) {
    const Rect client{102, 120, 320, 240};
    struct Row {
        const char* name;
        WindowPlacement placement;
        Rect expected;
    };
    const Row rows[] = {
        {"nobody manages it", {client, 0, {}, {}, {}}, {102, 120, 320, 240}},
        {"its own border is seen", {client, 3, {}, {}, {}}, {99, 117, 326, 246}},
        {"its shadows are not", {client, 0, {}, {}, {20, 21, 22, 23}}, {122, 142, 279, 195}},
        {"decorations that no manager drew count for nothing",
         {client, 0, {}, Extents{5, 5, 5, 5}, {}},
         {102, 120, 320, 240}},
        {"a frame around it",
         {client, 0, Rect{100, 100, 324, 262}, Extents{2, 2, 20, 2}, {}},
         {100, 100, 324, 262}},
        {"a manager that does not tell",
         {client, 0, Rect{100, 100, 324, 262}, {}, {}},
         {100, 100, 324, 262}},
        {"a frame with edges that are not seen",
         {client, 0, Rect{90, 90, 344, 282}, Extents{2, 2, 20, 2}, {}},
         {100, 100, 324, 262}},
        {"shadows in a frame of the same size",
         {client, 0, client, Extents{0, 0, 0, 0}, {20, 20, 20, 20}},
         {122, 140, 280, 200}},
        {"shadows, and a manager that does not tell",
         {client, 0, client, {}, {20, 20, 20, 20}},
         {122, 140, 280, 200}},
        {"only the title of a shaded window",
         {client, 0, Rect{100, 100, 324, 20}, Extents{2, 2, 20, 2}, {}},
         {100, 100, 324, 20}},
        {"shadows that leave nothing are nonsense",
         {client, 0, {}, {}, {200, 200, 0, 0}},
         {102, 120, 320, 240}},
        {"decorations from before a move",
         {client, 0, Rect{1000, 1000, 324, 262}, Extents{2, 2, 20, 2}, {}},
         {1000, 1000, 324, 262}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(visibleFrame(row.placement), row.expected);
    }
}

TEST(ExtentsFrom, TakesFourWidthsThatCanBe) {
    const auto sides = extentsFrom(std::vector<std::uint32_t>{1, 2, 3, 4, 5});
    ASSERT_TRUE(sides);
    EXPECT_EQ(sides->left, 1);
    EXPECT_EQ(sides->right, 2);
    EXPECT_EQ(sides->top, 3);
    EXPECT_EQ(sides->bottom, 4);
    EXPECT_FALSE(extentsFrom({}));
    EXPECT_FALSE(extentsFrom(std::vector<std::uint32_t>{1, 2, 3}));
    EXPECT_FALSE(extentsFrom(std::vector<std::uint32_t>{1, 2, 3, 0x10000}));
}

}  // namespace
}  // namespace quorvane::platform::x11
