#include "platform/linux/tesseract/gif_first_image.h"

#include <gtest/gtest.h>

#include "unit/tesseract/gif_file.h"

namespace quorvane::platform::tesseract {
namespace {

TEST(GifFirstImage, StandsAloneWithItsPlaceOnTheCanvas) {
    GifFile gif;
    gif.image(2, 1, 3, 2);
    const auto alone = gif.bytes();
    gif.image(0, 0, 6, 4);
    const auto first = gifFirstImage(gif.bytes());
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(first->file, alone);
    EXPECT_EQ(first->left, 2);
    EXPECT_EQ(first->top, 1);
    EXPECT_EQ(first->width, 3);
    EXPECT_EQ(first->height, 2);
    EXPECT_EQ(first->canvasWidth, 6);
    EXPECT_EQ(first->canvasHeight, 4);
}

TEST(GifFirstImage, HasWhiteForItsTransparentColour) {
    GifFile gif;
    gif.transparent(1);
    gif.image(0, 0, 6, 4);
    const auto first = gifFirstImage(gif.bytes());
    ASSERT_TRUE(first.has_value());
    const std::vector<std::uint8_t> colours(first->file.begin() + 13, first->file.begin() + 19);
    EXPECT_EQ(colours, (std::vector<std::uint8_t>{10, 20, 30, 255, 255, 255}));
}

TEST(GifFirstImage, IsNothingOfAFileCutBeforeItsPicture) {
    GifFile gif;
    gif.transparent(1);
    gif.image(0, 0, 6, 4);
    const auto whole = gif.bytes();
    for (std::size_t length = 0; length < 38; ++length) {
        SCOPED_TRACE(length);
        const auto first = gifFirstImage(std::span(whole).first(length));
        // Signature, screen, colours, control and descriptor take 6 + 7 + 6 + 8 + 10 bytes.
        EXPECT_EQ(first.has_value(), length >= 37);
    }
    auto other = whole;
    other[3] = '7';
    EXPECT_FALSE(gifFirstImage(other).has_value());
}

}  // namespace
}  // namespace quorvane::platform::tesseract
