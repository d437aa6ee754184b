#include "control/recorder_line_buffer.h"

#include <gtest/gtest.h>

namespace quorvane::control {
namespace {

using Lines = std::vector<std::string>;

TEST(RecorderLineBuffer, CutsItsInputIntoLines) {
    const std::string longest(16384, 'a');
    struct Row {
        const char* name;
        std::vector<std::string> reads;
        Lines lines;
    };
    const Row rows[] = {
        {"blank lines are not returned", {"\n\nx\n"}, {"x"}},
        {"a line split over two reads is one line", {"{\"sou", "rce\"}\n"}, {"{\"source\"}"}},
        {"an unfinished line waits", {"abc"}, {}},
        {"several lines at once", {"a\nb\nc"}, {"a", "b"}},
        {"a carriage return is kept", {"a\r\n"}, {"a\r"}},
        {"a lone carriage return is a line", {"\r\n"}, {"\r"}},
        {"the longest line", {longest + "\n"}, {longest}},
        {"one byte too long, and the next line", {longest + "b\nnext\n"}, {"next"}},
        {"too long over many reads", {longest, "b", "c", "\n", "next\n"}, {"next"}},
        {"a skipped line ends at its own terminator", {longest + "bb", "\n\n", "x\n"}, {"x"}},
        {"zero bytes are bytes", {std::string("a\0b\n", 4)}, {std::string("a\0b", 3)}},
        {"nothing", {"", ""}, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        RecorderLineBuffer buffer;
        Lines lines;
        for (const auto& read : row.reads) {
            for (auto& line : buffer.append(std::as_bytes(std::span(read))))
                lines.push_back(std::move(line));
        }
        EXPECT_EQ(lines, row.lines);
    }
}

TEST(RecorderLineBuffer, ASplitLineComesOnlyWithItsEnd) {
    RecorderLineBuffer buffer;
    const std::string first = "{\"id\":\"1\",\"sou";
    const std::string second = "rce\":\"system\"}\n";
    EXPECT_EQ(buffer.append(std::as_bytes(std::span(first))), Lines{});
    EXPECT_EQ(buffer.append(std::as_bytes(std::span(second))),
              Lines{"{\"id\":\"1\",\"source\":\"system\"}"});
}

}  // namespace
}  // namespace quorvane::control
