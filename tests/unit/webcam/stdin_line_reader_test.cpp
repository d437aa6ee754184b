#include "webcam/stdin_line_reader.h"

#include <vector>

#include <gtest/gtest.h>

namespace quorvane::webcam {
namespace {

using Lines = std::vector<std::string>;

void readAll(StdinLineReader& reader, Lines& lines) {
    while (auto line = reader.read())
        lines.push_back(std::move(*line));
}

TEST(StdinLineReader, CutsItsInputIntoLines) {
    const std::string longLine(100'000, 'a');
    struct Row {
        const char* name;
        std::vector<std::string> reads;
        Lines lines;  // before the end
        Lines atTheEnd;
    };
    const Row rows[] = {
        {"one line", {"quit\n"}, {"quit"}, {}},
        {"several lines at once", {"a\nb\nc"}, {"a", "b"}, {"c"}},
        {"a line over several reads", {"sha", "pe ", "x\n"}, {"shape x"}, {}},
        {"empty lines are lines", {"\n\nx\n"}, {"", "", "x"}, {}},
        {"carriage returns stay", {"a\r\n"}, {"a\r"}, {}},
        {"the last line needs no line feed", {"quit"}, {}, {"quit"}},
        {"nothing", {}, {}, {}},
        {"a line that is not valid UTF-8 is empty", {"a\xFF\nb\n"}, {"", "b"}, {}},
        {"the last one is none at all", {"a\nb\xC3"}, {"a"}, {}},
        {"a character over two reads", {"\xC3", "\xA9\n"}, {"\xC3\xA9"}, {}},
        {"zero bytes are bytes", {std::string("a\0b\n", 4)}, {std::string("a\0b", 3)}, {}},
        {"a long line", {longLine, longLine + "\n"}, {longLine + longLine}, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        StdinLineReader reader;
        Lines lines;
        for (const auto& read : row.reads) {
            reader.append(std::as_bytes(std::span(read)));
            readAll(reader, lines);
        }
        EXPECT_EQ(lines, row.lines);
        reader.endInput();
        Lines atTheEnd;
        readAll(reader, atTheEnd);
        EXPECT_EQ(atTheEnd, row.atTheEnd);
        EXPECT_EQ(reader.read(), std::nullopt);
    }
}

}  // namespace
}  // namespace quorvane::webcam
