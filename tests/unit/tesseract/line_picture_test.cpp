#include "platform/linux/tesseract/line_picture.h"

#include <gtest/gtest.h>

#include "unit/tesseract/drawing.h"

namespace quorvane::platform::tesseract {
namespace {

TEST(LinePicture, IsDarkOnWhiteInFullContrastAndOfTheRightSize) {
    struct Row {
        const char* name;
        std::uint8_t background;
        std::uint8_t ink;
        int height;
        int wantedHeight;  // the line's own with a margin of 5 on both sides, scaled
    };
    for (const auto& row :
         {Row{"dark on light", 255, 0, 10, 60}, Row{"light on dark", 40, 90, 10, 60},
          Row{"faint", 255, 200, 18, 84}, Row{"large letters", 255, 0, 108, 59}}) {
        SCOPED_TRACE(row.name);
        GreyImage image(300, 150, row.background);
        const Background background{image, 6};
        const PixelBox box{100, 20, 150, 20 + row.height};
        fill(image, box, row.ink);
        const auto ink = row.ink < row.background ? Ink::dark : Ink::light;
        const auto picture = linePicture(image, background, {box, ink});
        EXPECT_EQ(picture.height, row.wantedHeight);
        EXPECT_EQ(picture.row(0)[0], 255);
        EXPECT_EQ(picture.row(picture.height / 2)[picture.width / 2], 0);
    }
}

TEST(LinePicture, OfALineAtTheImagesEdgeStaysInside) {
    GreyImage image(30, 12, 255);
    const Background background{image, 6};
    fill(image, {0, 0, 30, 12}, 0);
    const auto picture = linePicture(image, background, {{0, 0, 30, 12}, Ink::dark});
    EXPECT_EQ(picture.width, 3 * (30 + 8));
    EXPECT_EQ(picture.height, 3 * (12 + 8));
}

}  // namespace
}  // namespace quorvane::platform::tesseract
