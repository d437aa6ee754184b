#include "support/async.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "simulation/sim_dispatch.h"

namespace quorvane::support {
namespace {

using simulation::SimDispatch;

Async<int> answer(Queue& queue, std::vector<Continuation<int>>& waiters) {
    const int value = co_await suspend<int>(
        queue, [&](Continuation<int> waiting) { waiters.push_back(std::move(waiting)); });
    co_return value + 1;
}

Async<> collect(Queue& queue, std::vector<Continuation<int>>& waiters, std::string& log) {
    try {
        log += std::to_string(co_await answer(queue, waiters));
    } catch (const std::runtime_error& error) {
        log += error.what();
    }
}

TEST(Async, ResumesWithTheValueOnTheNamedQueue) {
    SimDispatch dispatch(1);
    std::vector<Continuation<int>> waiters;
    std::string log;
    startDetached(dispatch.mainQueue(), collect(dispatch.mainQueue(), waiters, log));
    dispatch.settle();
    ASSERT_EQ(waiters.size(), 1U);
    waiters.front().resume(41);
    EXPECT_EQ(log, "");
    dispatch.settle();
    EXPECT_EQ(log, "42");
}

TEST(Async, ThrowsTheErrorThatItWasResumedWith) {
    SimDispatch dispatch(1);
    std::vector<Continuation<int>> waiters;
    std::string log;
    startDetached(dispatch.mainQueue(), collect(dispatch.mainQueue(), waiters, log));
    dispatch.settle();
    waiters.front().resumeThrowing(std::make_exception_ptr(std::runtime_error("lost")));
    dispatch.settle();
    EXPECT_EQ(log, "lost");
}

TEST(Async, MayBeResumedInsideItsOwnSuspension) {
    SimDispatch dispatch(1);
    std::string log;
    const auto immediate = [](Queue& queue, std::string& text) -> Async<> {
        co_await suspend<void>(queue, [](Continuation<> waiting) { waiting.resume(); });
        text += "resumed";
    };
    startDetached(dispatch.mainQueue(), immediate(dispatch.mainQueue(), log));
    dispatch.settle();
    EXPECT_EQ(log, "resumed");
}

TEST(Async, AnOperationThatIsNeverAwaitedRunsNothing) {
    std::string log;
    const auto operation = [](std::string& text) -> Async<> {
        text += "ran";
        co_return;
    };
    { const auto dropped = operation(log); }
    EXPECT_EQ(log, "");
}

}  // namespace
}  // namespace quorvane::support
