// The port to chance, for names that nobody else has.
#pragma once

#include <cstddef>
#include <span>

namespace quorvane::platform {

class RandomSource {
  public:
    virtual ~RandomSource() = default;
    // Unpredictable bytes. Threads: any. Errors: PlatformError.
    virtual void fill(std::span<std::byte> bytes) = 0;
};

}  // namespace quorvane::platform
