#include "platform/linux/pipewire/cycle_ring.h"

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::platform::pipewire {
namespace {

CapturedCycle cycleOf(std::uint32_t frames, std::int64_t time = 0) {
    CapturedCycle cycle;
    cycle.graphTime = time;
    cycle.frames = frames;
    return cycle;
}

// Left counts up from the first value, right is its negative.
std::vector<float> countingSamples(std::size_t frames, int first) {
    std::vector<float> samples;
    for (std::size_t i = 0; i < frames; ++i) {
        const auto value = static_cast<float>(first + static_cast<int>(i));
        samples.push_back(value);
        samples.push_back(-value);
    }
    return samples;
}

TEST(CycleRing, GivesBackEachStretchWithItsTimeAndSamples) {
    CycleRing ring(4, 16);
    EXPECT_EQ(ring.front(), nullptr);
    ASSERT_TRUE(ring.push(cycleOf(3, 100), countingSamples(3, 1).data()));
    ASSERT_TRUE(ring.push(cycleOf(2, 200), countingSamples(2, 10).data()));

    std::vector<float> read(6);
    ASSERT_NE(ring.front(), nullptr);
    EXPECT_EQ(ring.front()->graphTime, 100);
    EXPECT_EQ(ring.front()->frames, 3U);
    ring.read(read.data(), 3);
    EXPECT_EQ(read, (std::vector<float>{1, -1, 2, -2, 3, -3}));
    ring.pop();
    EXPECT_EQ(ring.front()->graphTime, 200);
    ring.pop();
    EXPECT_EQ(ring.front(), nullptr);
}

TEST(CycleRing, SkippedAndUnreadFramesDoNotReachTheNextStretch) {
    CycleRing ring(4, 16);
    ASSERT_TRUE(ring.push(cycleOf(5), countingSamples(5, 1).data()));
    ASSERT_TRUE(ring.push(cycleOf(2), countingSamples(2, 10).data()));
    std::vector<float> read(4);
    ring.skip(2);
    ring.read(read.data(), 2);
    EXPECT_EQ(read, (std::vector<float>{3, -3, 4, -4}));
    ring.pop();
    ring.read(read.data(), 2);
    EXPECT_EQ(read, (std::vector<float>{10, -10, 11, -11}));
}

TEST(CycleRing, TakesNothingThatDoesNotFitWhole) {
    CycleRing ring(4, 8);
    ASSERT_TRUE(ring.push(cycleOf(6), countingSamples(6, 1).data()));
    EXPECT_FALSE(ring.push(cycleOf(3), countingSamples(3, 1).data()));
    EXPECT_TRUE(ring.push(cycleOf(2), countingSamples(2, 1).data()));
    ring.pop();
    EXPECT_TRUE(ring.push(cycleOf(6), countingSamples(6, 1).data()));
}

TEST(CycleRing, TakesNoMoreStretchesThanItHasPlacesFor) {
    CycleRing ring(2, 64);
    const std::vector<float> samples = countingSamples(1, 1);
    EXPECT_TRUE(ring.push(cycleOf(1), samples.data()));
    EXPECT_TRUE(ring.push(cycleOf(1), samples.data()));
    EXPECT_FALSE(ring.push(cycleOf(1), samples.data()));
    ring.pop();
    EXPECT_TRUE(ring.push(cycleOf(1), samples.data()));
}

TEST(CycleRing, LosesAndMixesNothingBetweenTwoThreads) {
    CycleRing ring(8, 64);
    constexpr int total = 50000;
    std::thread writer([&] {
        int next = 0;
        while (next < total) {
            const int length = 1 + next % 13;
            const std::vector<float> samples =
                countingSamples(static_cast<std::size_t>(length), next % 4096);
            if (ring.push(cycleOf(static_cast<std::uint32_t>(length), next), samples.data())) {
                next += length;
            } else {
                std::this_thread::yield();
            }
        }
    });
    int expected = 0;
    int wrong = 0;
    std::vector<float> read(64);
    while (expected < total) {
        const CapturedCycle* cycle = ring.front();
        if (cycle == nullptr) {
            std::this_thread::yield();
            continue;
        }
        const std::size_t frames = cycle->frames;
        if (cycle->graphTime != expected) ++wrong;
        ring.read(read.data(), frames);
        for (std::size_t i = 0; i < frames; ++i) {
            const auto value = static_cast<float>(expected % 4096 + static_cast<int>(i));
            if (read[2 * i] != value || read[2 * i + 1] != -value) ++wrong;
        }
        expected += static_cast<int>(frames);
        ring.pop();
    }
    writer.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace quorvane::platform::pipewire
