#include "postprocess/uuid.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace quorvane::postprocess {
namespace {

class Constant final : public platform::RandomSource {
  public:
    explicit Constant(int value) : value_(static_cast<std::byte>(value)) {}
    void fill(std::span<std::byte> bytes) override {
        std::fill(bytes.begin(), bytes.end(), value_);
    }

  private:
    const std::byte value_;
};

TEST(Uuid, HasItsVersionAndVariantAndUpperCaseLetters) {
    struct Row {
        int byte;
        const char* uuid;
    };
    const Row rows[] = {
        {0x00, "00000000-0000-4000-8000-000000000000"},
        {0xFF, "FFFFFFFF-FFFF-4FFF-BFFF-FFFFFFFFFFFF"},
        {0x1B, "1B1B1B1B-1B1B-4B1B-9B1B-1B1B1B1B1B1B"},
    };
    for (const auto& row : rows) {
        Constant random(row.byte);
        EXPECT_EQ(makeUuid(random), row.uuid);
    }
}

}  // namespace
}  // namespace quorvane::postprocess
