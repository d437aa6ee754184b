#include "platform/linux/tesseract/rules.h"

#include <gtest/gtest.h>

#include "unit/tesseract/drawing.h"

namespace quorvane::platform::tesseract {
namespace {

TEST(Rules, GoAndLeaveTheStrokesThatCrossThem) {
    GreyImage image(120, 120, 255);
    const Background background{image, 6};
    fill(image, {10, 50, 110, 52}, 0);  // an underline,
    fill(image, {40, 40, 42, 60}, 0);   // a descender through it,
    fill(image, {5, 5, 6, 115}, 0);     // a border,
    fill(image, {60, 70, 100, 72}, 0);  // a dash, not long enough,
    fill(image, {50, 80, 110, 90}, 0);  // and a bar, too thick
    removeRules(image, background);
    struct Row {
        const char* name;
        int x;
        int y;
        int value;
    };
    for (const auto& row : {Row{"the underline", 20, 51, 255}, Row{"the descender", 41, 51, 0},
                            Row{"below the underline", 41, 55, 0}, Row{"the border", 5, 100, 255},
                            Row{"the dash", 70, 71, 0}, Row{"the bar", 70, 80, 0}}) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(image.row(row.y)[row.x], row.value);
    }
}

}  // namespace
}  // namespace quorvane::platform::tesseract
