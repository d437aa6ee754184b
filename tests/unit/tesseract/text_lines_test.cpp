#include "platform/linux/tesseract/text_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/tesseract/drawing.h"

namespace quorvane::platform::tesseract {

namespace {

using testing::UnorderedElementsAreArray;

TEST(TextLines, AreLettersSideBySide) {
    struct Row {
        const char* name;
        std::vector<PixelBox> shapes;
        std::vector<PixelBox> lines;
    };
    const Row rows[] = {
        {"nothing", {}, {}},
        {"two words", {{0, 0, 6, 10}, {8, 3, 13, 10}, {18, 3, 23, 10}}, {{0, 0, 23, 10}}},
        {"two columns",
         {{0, 0, 6, 10}, {8, 0, 14, 10}, {40, 0, 46, 10}, {48, 0, 54, 10}},
         {{0, 0, 14, 10}, {40, 0, 54, 10}}},
        {"two rows",
         {{0, 0, 6, 10}, {8, 0, 14, 13}, {0, 15, 6, 25}, {8, 15, 14, 25}},
         {{0, 0, 14, 13}, {0, 15, 14, 25}}},
        {"a letter with a descender",
         {{0, 0, 6, 10}, {7, 3, 12, 13}, {13, 3, 18, 10}},
         {{0, 0, 18, 13}}},
        {"dots, an accent and a hyphen",
         {{0, 3, 6, 10},
          {1, 0, 2, 1},
          {8, 3, 14, 10},
          {9, 0, 12, 2},
          {15, 6, 18, 7},
          {20, 8, 22, 10}},
         {{0, 0, 22, 10}}},
        {"the dots of large letters",
         {{0, 10, 20, 40}, {24, 10, 44, 40}, {30, 0, 35, 5}, {48, 35, 53, 40}},
         {{0, 0, 53, 40}}},
        {"an ellipsis in a wide font",
         {{0, 0, 6, 10}, {8, 3, 13, 10}, {19, 8, 21, 10}, {27, 8, 29, 10}, {35, 8, 37, 10}},
         {{0, 0, 37, 10}}},
        {"a frame around letters is none",
         {{0, 0, 60, 30}, {10, 10, 16, 20}, {18, 10, 24, 20}, {26, 10, 32, 20}},
         {{10, 10, 32, 20}}},
        {"dots alone are no line", {{0, 0, 2, 2}, {4, 0, 6, 2}}, {}},
        {"what is too large is no letter", {{0, 0, 300, 300}}, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<InkShape> shapes;
        for (const auto& box : row.shapes)
            shapes.push_back({box, 255});
        EXPECT_THAT(joinIntoLines(shapes), UnorderedElementsAreArray(row.lines));
    }
}

TEST(TextLines, AreFoundInBothInksFromTopToBottom) {
    GreyImage image(300, 100, 255);
    drawStrokes(image, {20, 60, 70, 70}, 0);
    fill(image, {120, 10, 280, 80}, 40);
    drawStrokes(image, {150, 30, 200, 40}, 200);
    const auto lines = findTextLines(image, estimateBackground(image));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].box, (PixelBox{150, 30, 197, 40}));
    EXPECT_EQ(lines[0].ink, Ink::light);
    EXPECT_EQ(lines[1].box, (PixelBox{20, 60, 67, 70}));
    EXPECT_EQ(lines[1].ink, Ink::dark);
}

TEST(InkShapes, AreConnectedAlongDiagonals) {
    GreyImage image(20, 20, 255);
    const Background background{image, 6};
    // A "U" of which the two arms meet late, a diagonal, and a pixel by itself.
    fill(image, {2, 2, 3, 8}, 0);
    fill(image, {6, 2, 7, 8}, 0);
    fill(image, {2, 8, 7, 9}, 0);
    image.row(12)[10] = image.row(13)[11] = image.row(14)[10] = 0;
    image.row(18)[18] = 232;  // too faint
    image.row(18)[15] = 231;
    const auto shapes = findInkShapes(image, background, Ink::dark);
    ASSERT_EQ(shapes.size(), 3U);
    EXPECT_EQ(shapes[0].box, (PixelBox{2, 2, 7, 9}));
    EXPECT_EQ(shapes[1].box, (PixelBox{10, 12, 12, 15}));
    EXPECT_EQ(shapes[2].box, (PixelBox{15, 18, 16, 19}));
    EXPECT_TRUE(findInkShapes(image, background, Ink::light).empty());
}

}  // namespace
}  // namespace quorvane::platform::tesseract
