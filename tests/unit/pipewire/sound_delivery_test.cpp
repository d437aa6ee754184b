#include "platform/linux/pipewire/sound_delivery.h"

#include <chrono>
#include <memory_resource>
#include <new>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::platform::pipewire {
namespace {

using namespace std::chrono_literals;
using support::MediaTime;

class CountingMemory final : public std::pmr::memory_resource {
  public:
    int allocations = 0;
    int held = 0;

  private:
    void* do_allocate(std::size_t bytes, std::size_t alignment) override {
        ++allocations;
        ++held;
        return std::pmr::new_delete_resource()->allocate(bytes, alignment);
    }
    void do_deallocate(void* place, std::size_t bytes, std::size_t alignment) override {
        --held;
        std::pmr::new_delete_resource()->deallocate(place, bytes, alignment);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override {
        return this == &other;
    }
};

class SoundDeliveryTest : public testing::Test {
  protected:
    // A stretch whose left samples are all the value.
    void push(std::chrono::nanoseconds time, std::uint32_t frames, float value) {
        std::vector<float> samples(frames * 2, value);
        CapturedCycle cycle;
        cycle.graphTime = time.count();
        cycle.frames = frames;
        ASSERT_TRUE(ring_.push(cycle, samples.data()));
    }

    CycleRing ring_{64, 16384};
    std::vector<SampleBufferPtr> delivered_;
    SoundDelivery delivery_{
        [this](SampleBufferPtr sample) { delivered_.push_back(std::move(sample)); }};
};

TEST_F(SoundDeliveryTest, AStretchIsDatedByWhenItWasHeard) {
    push(10s, 1024, 0.5F);
    delivery_.deliver(ring_, -150ms);
    ASSERT_EQ(delivered_.size(), 1U);
    EXPECT_EQ(delivered_[0]->presentationTime(), MediaTime(9850ms));
    EXPECT_EQ(delivered_[0]->sampleCount(), 1024);
    EXPECT_EQ(delivered_[0]->data().size(), 8192U);
    EXPECT_EQ(delivered_[0]->audioFormat()->sampleRate, 48000);
    EXPECT_EQ(delivered_[0]->audioFormat()->channels, 2);
    EXPECT_EQ(ring_.front(), nullptr);
}

TEST_F(SoundDeliveryTest, ALongStretchIsHandedOnInPiecesWithoutAGap) {
    push(10s, 2400, 0.5F);
    delivery_.deliver(ring_, 0ms);
    ASSERT_EQ(delivered_.size(), 3U);
    EXPECT_EQ(delivered_[0]->sampleCount(), 1024);
    EXPECT_EQ(delivered_[1]->sampleCount(), 1024);
    EXPECT_EQ(delivered_[2]->sampleCount(), 352);
    EXPECT_EQ(delivered_[2]->presentationTime(), MediaTime(10s + 42666666ns));
}

TEST_F(SoundDeliveryTest, NothingFromTheLimitOnIsHandedOn) {
    delivery_.limit(MediaTime(10s + 5ms));
    push(9990ms, 480, 0.5F);
    delivery_.deliver(ring_, 0ms);
    EXPECT_FALSE(delivery_.reachedLimit());
    push(10s, 480, 0.5F);
    delivery_.deliver(ring_, 0ms);
    EXPECT_TRUE(delivery_.reachedLimit());
    push(10010ms, 480, 0.5F);
    delivery_.deliver(ring_, 0ms);
    ASSERT_EQ(delivered_.size(), 2U);
    EXPECT_EQ(delivered_[0]->sampleCount(), 480);
    EXPECT_EQ(delivered_[1]->sampleCount(), 240);
}

TEST_F(SoundDeliveryTest, NothingIsHandedOnAfterTheEarliestLimit) {
    delivery_.limit(MediaTime::min());
    push(10s, 480, 0.5F);
    delivery_.deliver(ring_, 0ms);
    EXPECT_TRUE(delivery_.reachedLimit());
    EXPECT_TRUE(delivered_.empty());
}

TEST_F(SoundDeliveryTest, AReceiverThatFailsCostsOnlyTheStretchItFailedOn) {
    bool fails = true;
    int received = 0;
    SoundDelivery delivery([&](const SampleBufferPtr&) {
        if (fails) throw std::bad_alloc();
        ++received;
    });
    push(10s, 480, 0.5F);
    push(10010ms, 480, 0.5F);
    delivery.deliver(ring_, 0ms);
    fails = false;
    delivery.deliver(ring_, 0ms);
    EXPECT_EQ(received, 1);
    EXPECT_EQ(ring_.front(), nullptr);
}

TEST(SoundBufferPool, UsesItsMemoryAgain) {
    CountingMemory memory;
    {
        SoundBufferPool pool(&memory);
        std::vector<std::shared_ptr<SoundBuffer>> held;
        const auto round = [&] {
            for (int i = 0; i < 20; ++i)
                held.push_back(pool.make());
            held.clear();
        };
        round();
        const int afterWarmUp = memory.allocations;
        for (int i = 0; i < 100; ++i)
            round();
        EXPECT_EQ(memory.allocations, afterWarmUp);
    }
    EXPECT_EQ(memory.held, 0);
}

TEST(SoundBufferPool, MayEndBeforeItsBuffers) {
    CountingMemory memory;
    auto pool = std::make_unique<SoundBufferPool>(&memory);
    auto buffer = pool->make();
    pool.reset();
    EXPECT_GT(memory.held, 0);
    buffer->samples()[0] = 1;
    buffer.reset();
    EXPECT_EQ(memory.held, 0);
}

}  // namespace
}  // namespace quorvane::platform::pipewire
