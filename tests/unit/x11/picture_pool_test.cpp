#include "platform/linux/x11/picture_pool.h"

#include <thread>

#include <gtest/gtest.h>
#include <poll.h>

namespace quorvane::platform::x11 {
namespace {

using support::MediaTime;
using namespace std::chrono_literals;

bool isSignalled(const Wakeup& wakeup) {
    pollfd descriptor{wakeup.descriptor(), POLLIN, 0};
    return poll(&descriptor, 1, 0) == 1;
}

struct PoolTest : testing::Test {
    std::shared_ptr<Wakeup> wakeup = std::make_shared<Wakeup>();
    std::shared_ptr<PicturePool> pool =
        PicturePool::make(64, 32, PixelRect{0, 0, 60, 32}, 2, wakeup);
};

TEST_F(PoolTest, DeliversACompletePictureWithItsTime) {
    const SampleBufferPtr sample = pool->deliver(pool->take(), MediaTime(7s));
    EXPECT_TRUE(sample->isValid());
    EXPECT_EQ(sample->presentationTime(), MediaTime(7s));
    EXPECT_EQ(sample->sampleCount(), 1);
    ASSERT_EQ(sample->sampleAttachments().size(), 1u);
    EXPECT_EQ(std::get<std::int64_t>(sample->sampleAttachments()[0].status), 0);
    EXPECT_EQ(sample->audioFormat(), nullptr);
    ASSERT_NE(sample->picture(), nullptr);
    EXPECT_EQ(sample->picture()->width, 64);
    EXPECT_EQ(sample->picture()->height, 32);
    // A picture that is not drawn all over begins black.
    EXPECT_EQ(sample->picture()->planes[0][0], 16);
    EXPECT_EQ(sample->picture()->planes[1][0], 128);
    EXPECT_EQ(sample->picture()->planes[2][15], 128);
}

TEST_F(PoolTest, APictureComesBackWithTheLastReference) {
    SampleBufferPtr first = pool->deliver(pool->take(), MediaTime(1s));
    SampleBufferPtr second = pool->deliver(pool->take(), MediaTime(2s));
    SampleBufferPtr again = first;
    EXPECT_FALSE(pool->hasFree());
    first.reset();
    EXPECT_FALSE(pool->hasFree());
    EXPECT_FALSE(isSignalled(*wakeup));
    std::thread([&] { again.reset(); }).join();
    EXPECT_TRUE(isSignalled(*wakeup));
    EXPECT_TRUE(pool->hasFree());
}

TEST_F(PoolTest, WakesNobodyWhoDoesNotWait) {
    SampleBufferPtr sample = pool->deliver(pool->take(), MediaTime(1s));
    EXPECT_TRUE(pool->hasFree());
    sample.reset();
    EXPECT_FALSE(isSignalled(*wakeup));
}

TEST_F(PoolTest, GivesThePictureWithTheLeastToDraw) {
    PicturePool::Slot& first = pool->take();
    PicturePool::Slot& second = pool->take();
    pool->staleRegionOf(first).add({0, 0, 8, 8});
    pool->staleRegionOf(second).add({0, 0, 4, 4});
    pool->putBack(first);
    pool->putBack(second);
    EXPECT_EQ(&pool->take(), &second);
}

TEST_F(PoolTest, EveryPictureHearsOfAChangeAlsoWhileItIsOut) {
    PicturePool::Slot& out = pool->take();
    const SampleBufferPtr sample = pool->deliver(out, MediaTime(1s));
    pool->addStale({0, 0, 8, 8});
    EXPECT_EQ(pool->staleRegionOf(out).area(), 64);
    EXPECT_EQ(pool->staleRegionOf(pool->take()).area(), 64);
}

TEST_F(PoolTest, LivesAsLongAsItsSamples) {
    const SampleBufferPtr sample = pool->deliver(pool->take(), MediaTime(1s));
    const std::weak_ptr<PicturePool> weak = pool;
    pool.reset();
    EXPECT_FALSE(weak.expired());
    EXPECT_EQ(sample->picture()->planes[0][0], 16);
}

}  // namespace
}  // namespace quorvane::platform::x11
