#include "platform/linux/tesseract/background.h"

#include <random>

#include <gtest/gtest.h>

#include "platform/linux/tesseract/panels.h"
#include "unit/tesseract/drawing.h"

namespace quorvane::platform::tesseract {
namespace {

TEST(Background, IsWhatIsAroundAndBehindText) {
    GreyImage image(200, 100, 250);
    drawStrokes(image, {10, 10, 60, 20}, 0);    // dark on light
    fill(image, {0, 40, 200, 100}, 30);         // another panel
    drawStrokes(image, {10, 60, 60, 70}, 220);  // light on dark
    fill(image, {100, 55, 160, 80}, 90);        // a button on it
    drawStrokes(image, {110, 62, 150, 72}, 240);
    const auto background = estimateBackground(image);
    struct Row {
        const char* name;
        int x;
        int y;
        int value;
    };
    for (const auto& row :
         {Row{"a dark stroke", 10, 15, 250}, Row{"beside it", 13, 15, 250},
          Row{"a light stroke", 11, 65, 30}, Row{"a stroke on the button", 110, 65, 90},
          Row{"beside the button", 98, 65, 30}, Row{"the corner", 199, 99, 30}}) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(background.image.row(row.y)[row.x], row.value);
    }
    EXPECT_EQ(background.tolerance, 6);
}

TEST(Background, OfASelectionIsTheSelection) {
    GreyImage image(200, 60, 255);
    drawStrokes(image, {20, 10, 120, 20}, 0);  // a row above,
    fill(image, {20, 22, 120, 35}, 110);       // the selection right below it,
    drawStrokes(image, {20, 24, 120, 34}, 255);
    drawStrokes(image, {20, 37, 120, 47}, 0);  // and a row right below that
    const auto background = estimateBackground(image);
    EXPECT_EQ(background.image.row(28)[20], 110);
    EXPECT_EQ(background.image.row(28)[62], 110);
    EXPECT_EQ(background.image.row(22)[119], 110);
    EXPECT_EQ(background.image.row(19)[62], 255);
    EXPECT_EQ(background.image.row(37)[62], 255);
}

TEST(Panels, AreNotFoundInFramesOrLines) {
    GreyImage image(200, 100, 255);
    fill(image, {20, 10, 120, 40}, 100);  // a text field:
    fill(image, {21, 11, 119, 39}, 255);  // its border and its inside
    fill(image, {20, 50, 120, 52}, 0);    // a line
    const auto panels = findPanels(image);
    ASSERT_EQ(panels.size(), 1U);
    EXPECT_EQ(panels[0].box, (PixelBox{21, 11, 119, 39}));
    EXPECT_EQ(panels[0].value, 255);
}

TEST(Background, OfAnyImageHasItsSize) {
    std::mt19937 random(11);
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 200}, {200, 1}, {3, 4}, {97, 31}}) {
        SCOPED_TRACE(testing::Message() << width << " x " << height);
        GreyImage image(width, height);
        for (auto& pixel : image.pixels)
            pixel = static_cast<std::uint8_t>(random());
        const auto background = estimateBackground(image);
        EXPECT_EQ(background.image.pixels.size(), image.pixels.size());
        EXPECT_LE(background.tolerance, 40);
    }
}

}  // namespace
}  // namespace quorvane::platform::tesseract
