#include "sources/display_lookup.h"

#include <vector>

#include <gtest/gtest.h>

#include "sources/shareable_rect.h"

namespace quorvane::sources {
namespace {

using platform::Display;
using support::Rect;

Display display(std::uint32_t identifier, Rect frame) {
    return {identifier, static_cast<int>(frame.width), static_cast<int>(frame.height), frame};
}

TEST(DisplayIdForFrame, TheMidpointDecidesThenTheFirstTouched) {
    const std::vector<Display> sideBySide{display(5, {0, 0, 100, 100}),
                                          display(1, {100, 0, 100, 100})};
    const std::vector<Display> withGap{display(5, {0, 0, 100, 100}),
                                       display(1, {200, 0, 100, 100})};
    const std::vector<Display> mirrored{display(9, {0, 0, 100, 100}), display(2, {0, 0, 200, 200})};
    struct Row {
        const char* name;
        const std::vector<Display>& displays;
        Rect frame;
        std::optional<std::uint32_t> expected;
    };
    const Row rows[] = {
        {"inside the first", sideBySide, {10, 10, 50, 50}, 5},
        {"midpoint on the right edge of the first", sideBySide, {90, 0, 20, 20}, 1},
        {"midpoint on the lower edge", sideBySide, {10, 90, 20, 20}, 5},
        {"midpoint on the upper left corner", sideBySide, {-10, -10, 20, 20}, 5},
        {"most of the area on the second, midpoint on the first", sideBySide, {-90, 0, 290, 9}, 5},
        {"the first in the list, not the lowest number", mirrored, {10, 10, 20, 20}, 9},
        {"midpoint in the gap, the first touched and not the most", withGap, {99, 0, 150, 9}, 5},
        {"midpoint in the gap, only the second touched", withGap, {150, 0, 60, 9}, 1},
        {"in the gap, edges touching only", withGap, {100, 0, 100, 100}, std::nullopt},
        {"far away", sideBySide, {1000, 1000, 9, 9}, std::nullopt},
        {"no display at all", {}, {0, 0, 9, 9}, std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(displayIdForFrame(row.frame, row.displays), row.expected);
    }
}

TEST(UnionRect, IsTheSmallestAroundAll) {
    struct Row {
        const char* name;
        std::vector<Rect> rects;
        std::optional<Rect> expected;
    };
    const Row rows[] = {
        {"none", {}, std::nullopt},
        {"one stays as it is", {{3, 4, -5, 6}}, Rect{3, 4, -5, 6}},
        {"two apart", {{0, 0, 10, 10}, {20, 30, 5, 5}}, Rect{0, 0, 25, 35}},
        {"one inside the other", {{0, 0, 10, 10}, {2, 2, 1, 1}}, Rect{0, 0, 10, 10}},
        {"left of the origin", {{-8, -9, 1, 1}, {0, 0, 1, 1}, {5, 0, 1, 2}}, Rect{-8, -9, 14, 11}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(unionRect(row.rects), row.expected);
    }
}

TEST(ShareableRect, KeepsTheOriginAndHasNoNegativeSides) {
    EXPECT_EQ(shareableRect({1, 2, 3, 4}), (ShareableRect{1, 2, 3, 4}));
    EXPECT_EQ(shareableRect({10, 20, -3, -4}), (ShareableRect{10, 20, 3, 4}));
    EXPECT_EQ(support::jsonText(shareableRect({0, -0.5, 1920, 0.25}), support::JsonOrder::sorted),
              R"({"height":0.25,"width":1920,"x":0,"y":-0.5})");
}

}  // namespace
}  // namespace quorvane::sources
