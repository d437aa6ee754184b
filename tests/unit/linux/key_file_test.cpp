#include "platform/linux/key_file.h"

#include <gtest/gtest.h>

namespace quorvane::platform {
namespace {

TEST(KeyFile, GivesTheKeysOfOneGroup) {
    struct Row {
        const char* name;
        std::string text;
        KeyFileGroup expected;
    };
    const Row rows[] = {
        {"nothing", "", {}},
        {"no such group", "[Other]\nA=1\n", {}},
        {"keys before any group", "A=1\n[Wanted]\nB=2\n", {{"B", "2"}}},
        {"blanks around", " [Wanted] \n A\t= 1 2 \n", {{"A", "1 2"}}},
        {"comments and rubbish", "[Wanted]\n#A=1\nrubbish\n\nB=2=3\n", {{"B", "2=3"}}},
        {"the next group ends it", "[Wanted]\nA=1\n[Next]\nB=2\n", {{"A", "1"}}},
        {"the first of equals", "[Wanted]\nA=1\nA=2\n", {{"A", "1"}}},
        {"translations are keys", "[Wanted]\nName[de]=x\n", {{"Name[de]", "x"}}},
        {"other line ends, no last one", "[Wanted]\r\nA=1\r\nB=2", {{"A", "1"}, {"B", "2"}}},
        {"an empty value", "[Wanted]\nA=\n", {{"A", ""}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(keyFileGroup(row.text, "Wanted"), row.expected);
    }
}

}  // namespace
}  // namespace quorvane::platform
