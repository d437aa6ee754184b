#include "webcam/webcam_command.h"

#include <gtest/gtest.h>

namespace quorvane::webcam {
namespace {

TEST(WebcamCommand, IsAWordAndWhatFollowsTheFirstSpace) {
    struct Row {
        const char* name;
        const char* line;
        WebcamCommand command;
    };
    const Row rows[] = {
        {"a word", "quit", {"quit", ""}},
        {"a word and an argument", "shape circle", {"shape", "circle"}},
        {"a second space belongs to the argument", "shape  circle", {"shape", " circle"}},
        {"an argument with spaces", "device My Camera 2", {"device", "My Camera 2"}},
        {"blanks at both ends", " \t quit \r", {"quit", ""}},
        {"no-break spaces at both ends", "\u00A0quit\u3000\u2028", {"quit", ""}},
        {"a space before nothing", "device ", {"device", ""}},
        {"a tab separates nothing", "device\tcam", {"device\tcam", ""}},
        {"words are kept as they are", "QUIT now", {"QUIT", "now"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(parseWebcamCommand(row.line), row.command);
    }
}

TEST(WebcamCommand, ABlankLineIsNone) {
    for (const char* line : {"", " ", "\t\r\n", "\u2003\u00A0"})
        EXPECT_EQ(parseWebcamCommand(line), std::nullopt) << '"' << line << '"';
}

}  // namespace
}  // namespace quorvane::webcam
