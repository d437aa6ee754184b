#include "platform/linux/tesseract/large_text.h"

#include <gtest/gtest.h>

#include "unit/tesseract/drawing.h"

namespace quorvane::platform::tesseract {
namespace {

// Strokes of 12 pixels with gaps of 14.
void drawLargeStrokes(GreyImage& image, const PixelBox& box, std::uint8_t value) {
    for (int x = box.left; x + 12 <= box.right; x += 26)
        fill(image, {x, box.top, x + 12, box.bottom}, value);
}

TEST(LargeText, HasTheBackgroundAroundIt) {
    GreyImage image(400, 300, 250);
    drawLargeStrokes(image, {100, 100, 230, 180}, 20);
    auto background = estimateBackground(image);
    EXPECT_EQ(background.image.row(140)[106], 20);  // by itself the stroke counts as background
    revealLargeText(image, background);
    EXPECT_EQ(background.image.row(140)[106], 250);
    EXPECT_EQ(background.image.row(140)[118], 250);
    EXPECT_EQ(background.image.row(20)[20], 250);
}

TEST(LargeText, IsNotWhatIsAPanelOrSmallText) {
    GreyImage image(400, 300, 250);
    for (int x = 40; x < 300; x += 90) {
        fill(image, {x, 100, x + 80, 131}, 90);  // a row of buttons,
        drawStrokes(image, {x + 15, 111, x + 65, 121}, 255);
    }
    drawStrokes(image, {40, 200, 300, 210}, 0);  // and a row of text
    auto background = estimateBackground(image);
    const auto before = background.image.pixels;
    revealLargeText(image, background);
    EXPECT_EQ(background.image.pixels, before);
}

TEST(LargeText, NeedsAnImageThatCanBeMadeSmaller) {
    GreyImage image(3, 3, 9);
    auto background = estimateBackground(image);
    revealLargeText(image, background);
    EXPECT_EQ(background.image.pixels, image.pixels);
}

}  // namespace
}  // namespace quorvane::platform::tesseract
