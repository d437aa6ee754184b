// The record of when each numbered picture was drawn: a line "NUMBER BEFORE AFTER", the host times
// in nanoseconds just before the drawing was sent and just after the server had carried it out.
// Threads: one. Errors: std::runtime_error when the file cannot be written.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace quorvane::tools {

class DrawLog {
  public:
    // Without a path nothing is written.
    explicit DrawLog(const std::string& path);
    void add(std::uint32_t number, std::int64_t before, std::int64_t after);

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closer> file_;
};

}  // namespace quorvane::tools
