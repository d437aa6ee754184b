#include "support/geometry.h"

#include <gtest/gtest.h>

namespace quorvane::support {
namespace {

TEST(Rect, ContainsItsMinimumEdgesButNotItsMaximumEdges) {
    const Rect rect{10, 20, 30, 40};
    struct Row {
        Point point;
        bool inside;
    };
    for (const auto& row : {Row{{10, 20}, true}, Row{{39.999, 59.999}, true}, Row{{40, 30}, false},
                            Row{{20, 60}, false}, Row{{9.999, 30}, false}}) {
        SCOPED_TRACE(testing::Message() << row.point.x << ", " << row.point.y);
        EXPECT_EQ(rect.contains(row.point), row.inside);
    }
}

TEST(Rect, ANegativeSizeMeansTheSameArea) {
    const Rect rect{40, 60, -30, -40};
    EXPECT_EQ(rect.normalised(), (Rect{10, 20, 30, 40}));
    EXPECT_TRUE(rect.contains({10, 20}));
    EXPECT_EQ(rect.area(), 1200);
    EXPECT_EQ(rect.midpoint(), (Point{25, 40}));
}

TEST(Rect, TouchingEdgesShareNothing) {
    const Rect left{0, 0, 10, 10};
    EXPECT_FALSE(left.intersects({10, 0, 10, 10}));
    EXPECT_EQ(left.intersection({10, 0, 10, 10}), std::nullopt);
    EXPECT_EQ(left.intersection({9, 5, 10, 10}), (Rect{9, 5, 1, 5}));
}

TEST(Rect, TheUnionIsTheSmallestRectangleAroundBoth) {
    EXPECT_EQ((Rect{0, 0, 10, 10}.unionWith({20, -5, 10, 10})), (Rect{0, -5, 30, 15}));
}

TEST(Rect, AnEmptyRectangleHasNoArea) {
    EXPECT_EQ((Rect{5, 5, 0, 10}.area()), 0);
    EXPECT_TRUE((Rect{5, 5, 0, 10}.isEmpty()));
    EXPECT_FALSE((Rect{5, 5, 0, 10}.contains({5, 6})));
}

}  // namespace
}  // namespace quorvane::support
