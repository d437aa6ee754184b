// Bytes as a file that has a path, for what reads files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace quorvane::fuzz {

class MemoryFile {
  public:
    MemoryFile(const std::uint8_t* data, std::size_t size)
        : descriptor_(memfd_create("input", MFD_CLOEXEC)) {
        if (descriptor_ < 0) std::abort();
        while (size > 0) {
            const ssize_t written = write(descriptor_, data, size);
            if (written <= 0) std::abort();
            data += written;
            size -= static_cast<std::size_t>(written);
        }
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { close(descriptor_); }

    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  private:
    int descriptor_;
};

}  // namespace quorvane::fuzz
