#include "support/task.h"

#include <array>
#include <memory>

#include <gtest/gtest.h>

namespace quorvane::support {
namespace {

TEST(Task, OwnsWhatItCapturesWhateverItsSize) {
    const auto witness = std::make_shared<int>(0);
    {
        auto owned = std::make_unique<int>(5);
        Task small([owned = std::move(owned), witness] { *witness += *owned; });
        std::array<int, 100> numbers{};
        numbers[99] = 7;
        Task large([numbers, witness] { *witness += numbers[99]; });
        Task moved = std::move(small);
        EXPECT_FALSE(small);  // NOLINT(bugprone-use-after-move): a moved task is empty
        moved();
        large();
        Task assigned;
        assigned = std::move(large);
        assigned();
        EXPECT_EQ(*witness, 19);
        EXPECT_EQ(witness.use_count(), 3);
    }
    EXPECT_EQ(witness.use_count(), 1);
}

}  // namespace
}  // namespace quorvane::support
