#include "platform/linux/x11/text_property.h"

#include <gtest/gtest.h>

namespace quorvane::platform::x11 {
namespace {

TEST(TextFrom, EveryEncodingBecomesValidUtf8) {
    struct Row {
        const char* name;
        TextEncoding encoding;
        std::string bytes;
        std::string expected;
    };
    const Row rows[] = {
        {"nothing", TextEncoding::utf8, "", ""},
        {"UTF-8", TextEncoding::utf8, "\xC3\xA9\xF0\x9F\x98\x80", "\xC3\xA9\xF0\x9F\x98\x80"},
        {"invalid UTF-8", TextEncoding::utf8, "a\xE9z", "a\xEF\xBF\xBDz"},
        {"Latin-1", TextEncoding::latin1, "caf\xE9 \xA0\xFF", "caf\xC3\xA9 \xC2\xA0\xC3\xBF"},
        {"another type, valid UTF-8", TextEncoding::other, "\xC3\xA9", "\xC3\xA9"},
        {"another type, else Latin-1", TextEncoding::other, "\xE9", "\xC3\xA9"},
        {"only the first of several", TextEncoding::utf8, std::string("one\0two", 7), "one"},
        {"a zero at the end", TextEncoding::latin1, std::string("one\0", 4), "one"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(textFrom(row.encoding, row.bytes), row.expected);
    }
}

TEST(TextFrom, CompoundTextSwitchesBetweenCharacterSets) {
    struct Row {
        const char* name;
        std::string bytes;
        std::string expected;
    };
    const Row rows[] = {
        {"ASCII", "plain text", "plain text"},
        {"Latin-1 to begin with", "caf\xE9", "caf\xC3\xA9"},
        {"Latin-2", "\x1B-B\xE8", "\xC4\x8D"},
        {"Cyrillic and back", "\x1B-L\xBF x \x1B-A\xE9", "\xD0\x9F x \xC3\xA9"},
        {"Greek", "\x1B-F\xE1", "\xCE\xB1"},
        {"the euro's Latin-9", "\x1B-b\xA4", "\xE2\x82\xAC"},
        {"kanji in the lower half", "\x1B$(B\x46\x7C\x4B\x5C\x1B(B!", "\xE6\x97\xA5\xE6\x9C\xAC!"},
        {"kanji, the old way", "\x1B$B\x46\x7C\x1B(B!", "\xE6\x97\xA5!"},
        {"kanji in the upper half", "\x1B$)B\xC6\xFC", "\xE6\x97\xA5"},
        {"Chinese", "\x1B$(A\x56\x50\x1B(B", "\xE4\xB8\xAD"},
        {"Korean", "\x1B$(C\x47\x51\x1B(B", "\xED\x95\x9C"},
        {"half-width katakana", "\x1B)I\xB1", "\xEF\xBD\xB1"},
        {"UTF-8 inside", "a\x1B%G\xF0\x9F\x98\x80\x1B%@b",
         "a\xF0\x9F\x98\x80"
         "b"},
        {"UTF-8 that never ends", "\x1B%G\xC3\xA9", "\xC3\xA9"},
        {"a named encoding", std::string("\x1B%/1\x80\x8DKOI8-R\x02\xC1\xC2\xD7\xC7\xC4\xC5z", 20),
         "\xD0\xB0\xD0\xB1\xD0\xB2\xD0\xB3\xD0\xB4\xD0\xB5z"},
        {"an encoding nobody knows", std::string("\x1B%/1\x80\x86nope\x02\xC1!", 13),
         "\xEF\xBF\xBD!"},
        {"an escape that is cut", "a\x1B", "a"},
        {"a sequence nobody knows", "a\x1B$(Zb", "ab"},
        {"a direction mark of another kind", "a\x1B%/1", "a"},
        {"half a character", "\x1B$(B\x46", "\xEF\xBF\xBD"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(textFrom(TextEncoding::compound, row.bytes), row.expected);
    }
}

}  // namespace
}  // namespace quorvane::platform::x11
