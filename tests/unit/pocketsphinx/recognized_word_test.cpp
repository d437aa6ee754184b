#include "platform/linux/pocketsphinx/recognized_word.h"

#include <gtest/gtest.h>

namespace quorvane::platform::pocketsphinx {
namespace {

TEST(RecognizedWord, FillersAreNoWords) {
    for (const char* filler : {"", "<s>", "</s>", "<sil>", "[NOISE]", "[SPEECH]", "++BREATH++"}) {
        SCOPED_TRACE(filler);
        EXPECT_TRUE(isFiller(filler));
    }
    for (const char* word : {"a", "the", "the(2)", "it's", "mother-in-law", "a.", "<", "["}) {
        SCOPED_TRACE(word);
        EXPECT_FALSE(isFiller(word));
    }
}

TEST(RecognizedWord, PronunciationMarksGo) {
    struct Row {
        const char* entry;
        const char* word;
    };
    const Row rows[] = {
        {"read", "read"}, {"read(2)", "read"}, {"a(12)", "a"},     {"it's(3)", "it's"},
        {"(2)", "(2)"},   {"x()", "x()"},      {"x(a)", "x(a)"},   {"x(2", "x(2"},
        {"", ""},         {"2)", "2)"},        {"x(1)y", "x(1)y"}, {"x(1)(2)", "x(1)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.entry);
        EXPECT_EQ(withoutPronunciationMark(row.entry), row.word);
    }
}

}  // namespace
}  // namespace quorvane::platform::pocketsphinx
