// Queues and clocks in virtual time, on one thread.
// Serial queues keep their order; which queue goes next, and the order on the global queue, is
// drawn from the seed, so a seed replays a schedule exactly. Time passes only when nothing is
// ready: it jumps to the next deadline, and what is due at the same instant comes in any order.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/dispatch.h"

namespace quorvane::simulation {

class SimDispatch final : public support::Dispatch {
  public:
    explicit SimDispatch(std::uint64_t seed);
    ~SimDispatch() override;

    const support::Clock& clock() const override;
    support::Queue& mainQueue() override;
    support::Queue& globalQueue() override;
    std::shared_ptr<support::Queue> makeSerialQueue(std::string label) override;
    std::shared_ptr<support::WorkItem> schedule(support::Queue& queue,
                                                std::chrono::nanoseconds delay,
                                                support::Task task) override;

    // Runs what is ready; then, deadline by deadline, what becomes ready until the time has passed.
    void advance(std::chrono::nanoseconds duration);
    // Runs what is ready now.
    void settle() { advance(std::chrono::nanoseconds(0)); }
    // Advances until the condition holds; false when it does not within the limit.
    bool advanceUntil(const std::function<bool()>& condition, std::chrono::nanoseconds limit);
    // Virtual time since the start.
    std::chrono::nanoseconds elapsed() const;
    // Moves the wall clock alone, as setting the system's time does.
    void stepWallClock(std::chrono::nanoseconds step);
    // A draw from the seed.
    std::uint64_t draw(std::uint64_t below);
    // How many tasks were posted, deadlines included.
    std::uint64_t postedTasks() const { return posted_; }

  private:
    class SimQueue;
    class SimClock;
    class SimWorkItem;

    bool runOne();
    bool jumpToNextDeadline(std::chrono::nanoseconds limit);

    std::mt19937_64 random_;
    std::unique_ptr<SimClock> clock_;
    std::vector<std::weak_ptr<SimQueue>> queues_;
    std::shared_ptr<SimQueue> mainQueue_;
    std::shared_ptr<SimQueue> globalQueue_;
    SimQueue* current_ = nullptr;
    std::multimap<std::chrono::nanoseconds, std::shared_ptr<SimWorkItem>> deadlines_;
    std::uint64_t posted_ = 0;
};

}  // namespace quorvane::simulation
