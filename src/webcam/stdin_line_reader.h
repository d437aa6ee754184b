// Cuts the bytes of standard input into lines of UTF-8.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace quorvane::webcam {

// A line ends at a line feed, or, the last one, at the end of the input. One that is not valid
// UTF-8 is an empty line. Carriage returns stay.
// Threads: owned by the reader of the input alone. Errors: none.
class StdinLineReader {
  public:
    // What was read.
    void append(std::span<const std::byte> bytes);
    // Nothing more will be read.
    void endInput();

    // The next line, without its line feed. Nothing when no whole line is there: until more was
    // read or, after endInput(), for good.
    std::optional<std::string> read();

  private:
    std::string buffer_;        // read but not returned yet
    std::size_t searched_ = 0;  // so many of its bytes are no line feeds
    bool ended_ = false;
};

}  // namespace quorvane::webcam
