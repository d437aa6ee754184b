#include "support/json.h"

#include <limits>

#include <gtest/gtest.h>

namespace quorvane::support {
namespace {

TEST(JsonNumber, HasTheShortestDigitsThatReadBack) {
    struct Row {
        double value;
        const char* text;
    };
    const Row rows[] = {
        {0, "0"},
        {1920, "1920"},
        {0.5, "0.5"},
        {100000, "100000"},
        {-12.25, "-12.25"},
        {0.1, "0.1"},
        {1.0 / 3, "0.3333333333333333"},
        {1763718000.123456, "1763718000.123456"},
        {0.00001, "0.00001"},
        {1e16, "10000000000000000"},
        {1e17, "1e+17"},
        {1e300, "1e+300"},
        {2.5e-7, "2.5e-07"},
        {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(jsonNumber(row.value), row.text);
}

TEST(JsonNumber, AFloatHasTheDigitsOfItsOwnWidth) {
    EXPECT_EQ(jsonNumber(0.35F), "0.35");
    EXPECT_EQ(jsonNumber(1.0F), "1");
    EXPECT_EQ(jsonNumber(0.1F + 0.2F), "0.3");
}

TEST(JsonNumber, ANumberThatIsNotFiniteIsAnError) {
    for (const double value :
         {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()})
        EXPECT_THROW(jsonNumber(value), JsonEncodingError);
    EXPECT_THROW(jsonNumber(std::numeric_limits<float>::infinity()), JsonEncodingError);
}

TEST(JsonString, EscapesWhatItMust) {
    struct Row {
        const char* name;
        std::string text;
        const char* json;
    };
    const Row rows[] = {
        {"plain", "Take 1", R"("Take 1")"},
        {"empty", "", R"("")"},
        {"quote and backslash", R"(a"b\c)", R"("a\"b\\c")"},
        {"solidus", "a/b", R"("a\/b")"},
        {"named controls", "\b\f\n\r\t", R"("\b\f\n\r\t")"},
        {"other controls", std::string("\0\x1f", 2), R"("\u0000\u001f")"},
        {"delete is no control", "\x7f", "\"\x7f\""},
        {"letters beyond ASCII", "Größe 🎬", "\"Größe 🎬\""},
        {"a lone continuation byte", "a\x80z", "\"a\xEF\xBF\xBDz\""},
        {"a truncated sequence", "a\xE2\x82", "\"a\xEF\xBF\xBD\xEF\xBF\xBD\""},
        {"an overlong solidus", "\xC0\xAF", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},
        {"a surrogate", "\xED\xA0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(jsonString(row.text), row.json);
    }
}

struct Inner {
    double x = 0;
};
void encode(const Inner& inner, JsonObject& object) {
    object.member("x", inner.x);
}

struct Outer {
    std::optional<std::string> zeta;
    std::optional<int> alpha;
    Inner inner;
    std::vector<Inner> list;
    bool flag = false;
};
void encode(const Outer& outer, JsonObject& object) {
    object.member("zeta", outer.zeta);
    object.member("alpha", outer.alpha);
    object.member("inner", outer.inner);
    object.member("list", outer.list);
    object.member("flag", outer.flag);
}

TEST(JsonObject, KeepsOrSortsItsMembersAndLeavesOutAbsentOnes) {
    const Outer full{"z", 1, {2}, {{3}, {4}}, true};
    EXPECT_EQ(jsonText(full, JsonOrder::declared),
              R"({"zeta":"z","alpha":1,"inner":{"x":2},"list":[{"x":3},{"x":4}],"flag":true})");
    EXPECT_EQ(jsonText(full, JsonOrder::sorted),
              R"({"alpha":1,"flag":true,"inner":{"x":2},"list":[{"x":3},{"x":4}],"zeta":"z"})");
    EXPECT_EQ(jsonText(Outer{}, JsonOrder::sorted), R"({"flag":false,"inner":{"x":0},"list":[]})");
    EXPECT_EQ(jsonText(std::vector<Inner>{}, JsonOrder::sorted), "[]");
}

TEST(JsonObject, OneNumberThatIsNotFiniteFailsTheWholeDocument) {
    Outer outer;
    outer.list = {{1}, {std::numeric_limits<double>::infinity()}};
    EXPECT_THROW(jsonText(outer, JsonOrder::sorted), JsonEncodingError);
}

}  // namespace
}  // namespace quorvane::support
