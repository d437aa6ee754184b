// Writes whole lines to a descriptor without ever being held up by its reader.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace quorvane::platform::process {

// A pipe that polls writable takes PIPE_BUF bytes at once, so a short line goes out whole or not at
// all. Of a longer one the reader may take a part; what is left then goes out before the next line,
// so that no line is ever cut.
// Threads: one at a time. Errors: none; a line that cannot be written is dropped.
class LineWriter {
  public:
    // A pipe is opened anew, without blocking, so that the mode of the descriptor, which the parent
    // shares, stays as it is.
    explicit LineWriter(int descriptor);
    ~LineWriter();
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;

    // The line with its line feed. Waits at most as long as the patience says, and not at all once
    // a line has waited in vain, until the reader takes one again: however many lines there are, a
    // reader that has stopped costs one wait.
    void write(std::string_view line, std::chrono::milliseconds patience);

  private:
    using Deadline = std::chrono::steady_clock::time_point;
    enum class Outcome { done, timedOut, failed };

    // Takes what it wrote off the front of the text.
    Outcome writeSome(std::string_view& text, Deadline deadline);

    int descriptor_;
    bool owned_ = false;
    bool neverBlocks_ = false;
    bool isSocket_ = false;
    std::string unfinished_;  // the rest of a line that the reader took in part
    bool readerStopped_ = false;
};

}  // namespace quorvane::platform::process
