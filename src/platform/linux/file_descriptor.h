// A file descriptor that closes itself.
#pragma once

#include <utility>

#include <unistd.h>

namespace quorvane::platform {

class FileDescriptor {
  public:
    explicit FileDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    // What is written must have been flushed before, so closing has nothing to report.
    ~FileDescriptor() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    int get() const { return descriptor_; }

  private:
    int descriptor_;
};

}  // namespace quorvane::platform
