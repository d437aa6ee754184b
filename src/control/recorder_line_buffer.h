// Cuts the bytes of standard input into command lines.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace quorvane::control {

// A line ends at a line feed (no other byte is special) and holds at most 16384 bytes; a longer
// one is skipped whole, so that a parent gone wrong cannot make the recorder hold more.
// Threads: owned by the command reader alone. Errors: none.
class RecorderLineBuffer {
  public:
    static constexpr std::size_t maximumLineLength = 16384;  // bytes, without the terminator

    // The lines that these bytes completed, in order, without terminators, the empty ones left out.
    std::vector<std::string> append(std::span<const std::byte> bytes);

  private:
    std::string pending_;      // the line that is not terminated yet
    bool discarding_ = false;  // inside an over-long line
};

}  // namespace quorvane::control
