#include "webcam/rect_argument.h"

#include <gtest/gtest.h>

namespace quorvane::webcam {
namespace {

TEST(RectArgument, FourNumbersAreARectangle) {
    struct Row {
        const char* name;
        const char* text;
        support::Rect rect;
    };
    const Row rows[] = {
        {"whole numbers", "10,20,300,400", {10, 20, 300, 400}},
        {"spaces around the numbers", "10, 20 ,300,400", {10, 20, 300, 400}},
        {"tabs around the numbers", "\t10,20\t, \t300,400 ", {10, 20, 300, 400}},
        {"a doubled comma", "10,,20,300,400", {10, 20, 300, 400}},
        {"commas at both ends", ",10,20,300,400,", {10, 20, 300, 400}},
        {"fractions and exponents", "1.5,.5,3e2,4.", {1.5, 0.5, 300, 4}},
        {"signs are not checked", "-10,+20,-300,0", {-10, 20, -300, 0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(parseRectArg(row.text), row.rect);
    }
}

TEST(RectArgument, AnythingElseIsNone) {
    struct Row {
        const char* name;
        std::string text;
    };
    const Row rows[] = {
        {"nothing", ""},
        {"commas alone", ",,,,"},
        {"three numbers", "10,20,300"},
        {"five numbers", "10,20,300,400,500"},
        {"a word", "10,20,wide,400"},
        {"a number and more", "10,20,300px,400"},
        {"a blank piece", "10, ,300,400"},
        {"a blank inside a number", "1 0,20,300,400"},
        {"a line break around a number", "10,20,300,400\n"},
        {"hexadecimal", "0x10,20,300,400"},
        {"infinite", "10,20,inf,400"},
        {"no number", "10,20,nan,400"},
        {"too large for a double", "10,20,1e999,400"},
        {"semicolons", "10;20;300;400"},
        {"a zero byte", std::string("10,20,300,400\0", 14)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(parseRectArg(row.text), std::nullopt);
    }
}

}  // namespace
}  // namespace quorvane::webcam
