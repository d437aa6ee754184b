#include "webcam/webcam_preview_shape.h"

#include <gtest/gtest.h>

namespace quorvane::webcam {
namespace {

using Case = WebcamPreviewShape::Case;

TEST(WebcamPreviewShape, OnlyItsExactNameIsTheRoundedCard) {
    struct Row {
        const char* name;
        std::optional<std::string> text;
        Case shape;
    };
    const Row rows[] = {
        {"the card", "rounded-portrait-3x4", Case::roundedPortrait3x4},
        {"the circle", "circle", Case::circle},
        {"nothing", std::nullopt, Case::circle},
        {"an empty name", "", Case::circle},
        {"another case", "Rounded-Portrait-3x4", Case::circle},
        {"a blank in front", " rounded-portrait-3x4", Case::circle},
        {"a blank behind", "rounded-portrait-3x4 ", Case::circle},
        {"another shape", "square", Case::circle},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(WebcamPreviewShape::resolved(row.text), WebcamPreviewShape(row.shape));
    }
    EXPECT_STREQ(WebcamPreviewShape(Case::circle).rawValue(), "circle");
    EXPECT_STREQ(WebcamPreviewShape(Case::roundedPortrait3x4).rawValue(), "rounded-portrait-3x4");
}

TEST(WebcamPreviewShape, TheRadiusFollowsTheSmallerSide) {
    struct Row {
        const char* name;
        WebcamPreviewShape shape;
        double width;
        double height;
        double radius;
    };
    const Row rows[] = {
        {"a circle", Case::circle, 200, 200, 100},
        {"a wide circle", Case::circle, 320, 240, 120},
        {"a high circle", Case::circle, 240, 320, 120},
        {"a large card is capped", Case::roundedPortrait3x4, 240, 320, 32},
        {"a small card is raised", Case::roundedPortrait3x4, 90, 120, 18},
        {"a card between", Case::roundedPortrait3x4, 180, 240, 25.2},
        {"a card smaller than its radius", Case::roundedPortrait3x4, 20, 30, 18},
        {"a card without a size", Case::roundedPortrait3x4, 0, 0, 18},
        {"a card with a negative size", Case::roundedPortrait3x4, -600, 400, 18},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_NEAR(row.shape.cornerRadius(row.width, row.height), row.radius, 1e-9);
    }
}

}  // namespace
}  // namespace quorvane::webcam
