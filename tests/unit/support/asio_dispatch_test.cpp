#include "support/asio_dispatch.h"

#include <future>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <signal.h>

namespace quorvane::support {
namespace {

using namespace std::chrono_literals;

TEST(AsioDispatch, ASerialQueueRunsTasksOneByOneInOrder) {
    AsioDispatch dispatch;
    const auto queue = dispatch.makeSerialQueue("test");
    std::vector<int> order;
    std::promise<void> done;
    for (int index = 0; index < 1000; ++index) {
        queue->post([&, index] {
            order.push_back(index);
            if (index == 999) done.set_value();
        });
    }
    done.get_future().wait();
    ASSERT_EQ(order.size(), 1000U);
    for (int index = 0; index < 1000; ++index)
        EXPECT_EQ(order[static_cast<size_t>(index)], index);
}

TEST(AsioDispatch, AQueueKnowsItsOwnTasks) {
    AsioDispatch dispatch;
    const auto first = dispatch.makeSerialQueue("first");
    const auto second = dispatch.makeSerialQueue("second");
    std::promise<std::pair<bool, bool>> answer;
    first->post([&] { answer.set_value({first->isCurrent(), second->isCurrent()}); });
    EXPECT_EQ(answer.get_future().get(), (std::pair{true, false}));
    EXPECT_FALSE(first->isCurrent());
}

TEST(AsioDispatch, TheMainQueueRunsOnTheThreadThatCallsRun) {
    AsioDispatch dispatch;
    std::thread::id ranOn;
    dispatch.mainQueue().post([&] {
        ranOn = std::this_thread::get_id();
        dispatch.stop();
    });
    dispatch.run();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(AsioDispatch, AScheduledTaskRunsAfterItsDelayAndACancelledOneNever) {
    AsioDispatch dispatch;
    const auto start = dispatch.clock().hostTime();
    std::promise<MediaTime> ran;
    bool cancelledRan = false;
    // The main queue's tasks wait for run(), so that it is cancelled in time, however late.
    const auto cancelled =
        dispatch.schedule(dispatch.mainQueue(), 10ms, [&] { cancelledRan = true; });
    cancelled->cancel();
    cancelled->cancel();
    const auto item = dispatch.schedule(dispatch.globalQueue(), 30ms,
                                        [&] { ran.set_value(dispatch.clock().hostTime()); });
    EXPECT_GE(ran.get_future().get() - start, 30ms);
    dispatch.mainQueue().post([&] { dispatch.stop(); });
    dispatch.run();
    EXPECT_FALSE(cancelledRan);
}

TEST(AsioDispatch, TasksThatNeverRanAreDestroyed) {
    const auto witness = std::make_shared<int>(0);
    {
        AsioDispatch dispatch;
        dispatch.mainQueue().post([witness] {});
        dispatch.schedule(dispatch.globalQueue(), 1h, [witness] {});
        EXPECT_EQ(witness.use_count(), 3);
    }
    EXPECT_EQ(witness.use_count(), 1);
}

TEST(AsioDispatch, PoolThreadsTakeNoSignals) {
    AsioDispatch dispatch;
    std::promise<bool> blocked;
    dispatch.globalQueue().post([&] {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        blocked.set_value(sigismember(&mask, SIGINT) == 1 && sigismember(&mask, SIGTERM) == 1);
    });
    EXPECT_TRUE(blocked.get_future().get());
}

}  // namespace
}  // namespace quorvane::support
