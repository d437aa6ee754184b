// Chance from the kernel.
#pragma once

#include "platform/random_source.h"

namespace quorvane::platform::files {

class SystemRandom final : public RandomSource {
  public:
    void fill(std::span<std::byte> bytes) override;
};

}  // namespace quorvane::platform::files
