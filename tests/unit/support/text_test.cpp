#include "support/text.h"

#include <gtest/gtest.h>

namespace quorvane::support {
namespace {

TEST(ValidUtf8, ReplacesEveryByteThatBelongsToNoSequence) {
    struct Row {
        const char* name;
        std::string text;
        std::string expected;
    };
    const Row rows[] = {
        {"nothing", "", ""},
        {"valid", "a\xC3\xA9\xF0\x9F\x98\x80", "a\xC3\xA9\xF0\x9F\x98\x80"},
        {"a lone continuation byte", "a\x80z", "a\xEF\xBF\xBDz"},
        {"a sequence cut at the end", "a\xF0\x9F", "a\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"Latin-1", "caf\xE9!", "caf\xEF\xBF\xBD!"},
        {"an overlong slash", "\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"half a surrogate pair", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(validUtf8(row.text), row.expected);
    }
}

TEST(CanonicalText, IsTheSameForTextsThatReadTheSame) {
    struct Row {
        const char* name;
        std::string text;
        std::string expected;
    };
    const Row rows[] = {
        {"nothing", "", ""},
        {"ASCII", "Beta 2", "Beta 2"},
        {"composed", "\xC3\xA9", "\xC3\xA9"},
        {"decomposed", "e\xCC\x81", "\xC3\xA9"},
        {"marks in the other order", "a\xCC\x88\xCC\xA3", "\xE1\xBA\xA1\xCC\x88"},
        {"the angstrom sign", "\xE2\x84\xAB", "\xC3\x85"},
        {"Hangul letters", "\xE1\x84\x80\xE1\x85\xA1", "\xEA\xB0\x80"},
        {"compatible is not canonical", "\xEF\xAC\x81", "\xEF\xAC\x81"},
        {"invalid", "\xFF", "\xEF\xBF\xBD"},
        {"a zero inside", std::string("a\0b", 3), std::string("a\0b", 3)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(canonicalText(row.text), row.expected);
    }
}

TEST(CanonicalText, LeavesLongTextsWhole) {
    const std::string text(1 << 20, 'x');
    EXPECT_EQ(canonicalText(text), text);
}

}  // namespace
}  // namespace quorvane::support
