#include "simulation/sim_dispatch.h"

#include <utility>

namespace quorvane::simulation {

class SimDispatch::SimClock final : public support::Clock {
  public:
    support::MediaTime hostTime() const override { return support::MediaTime(hostStart + elapsed); }
    support::WallTime wallTime() const override {
        return support::WallTime(wallStart + elapsed + wallStep);
    }

    static constexpr auto hostStart = std::chrono::hours(5);
    static constexpr auto wallStart = std::chrono::seconds(1'800'000'000);
    std::chrono::nanoseconds elapsed{0};
    std::chrono::nanoseconds wallStep{0};
};

class SimDispatch::SimQueue final : public support::Queue {
  public:
    SimQueue(SimDispatch& owner, bool serial) : owner_(owner), serial_(serial) {}

    void post(support::Task task) override {
        ++owner_.posted_;
        tasks_.push_back(std::move(task));
    }
    bool isCurrent() const override { return owner_.current_ == this; }

    bool isReady() const { return !tasks_.empty(); }
    support::Task take() {
        const auto index = serial_ ? 0 : owner_.draw(tasks_.size());
        const auto position = tasks_.begin() + static_cast<std::ptrdiff_t>(index);
        auto task = std::move(*position);
        tasks_.erase(position);
        return task;
    }

  private:
    SimDispatch& owner_;
    bool serial_;
    std::deque<support::Task> tasks_;
};

class SimDispatch::SimWorkItem final : public support::WorkItem {
  public:
    SimWorkItem(support::Queue& queue, support::Task task)
        : queue_(queue), task_(std::move(task)) {}
    void cancel() override { cancelled_ = true; }
    bool isCancelled() const { return cancelled_; }
    static void fire(const std::shared_ptr<SimWorkItem>& item) {
        item->queue_.post([item] {
            if (!item->cancelled_) item->task_();
        });
    }

  private:
    support::Queue& queue_;
    support::Task task_;
    bool cancelled_ = false;
};

SimDispatch::SimDispatch(std::uint64_t seed)
    : random_(seed),
      clock_(std::make_unique<SimClock>()),
      mainQueue_(std::make_shared<SimQueue>(*this, true)),
      globalQueue_(std::make_shared<SimQueue>(*this, false)) {
    queues_ = {mainQueue_, globalQueue_};
}
SimDispatch::~SimDispatch() = default;

const support::Clock& SimDispatch::clock() const {
    return *clock_;
}
support::Queue& SimDispatch::mainQueue() {
    return *mainQueue_;
}
support::Queue& SimDispatch::globalQueue() {
    return *globalQueue_;
}

std::shared_ptr<support::Queue> SimDispatch::makeSerialQueue(std::string /*label*/) {
    auto queue = std::make_shared<SimQueue>(*this, true);
    queues_.push_back(queue);
    return queue;
}

std::shared_ptr<support::WorkItem> SimDispatch::schedule(support::Queue& queue,
                                                         std::chrono::nanoseconds delay,
                                                         support::Task task) {
    auto item = std::make_shared<SimWorkItem>(queue, std::move(task));
    deadlines_.emplace(clock_->elapsed + delay, item);
    return item;
}

bool SimDispatch::runOne() {
    std::vector<std::shared_ptr<SimQueue>> ready;
    for (const auto& weak : queues_) {
        if (auto queue = weak.lock(); queue && queue->isReady()) ready.push_back(std::move(queue));
    }
    if (ready.empty()) return false;
    const auto queue = ready[draw(ready.size())];
    auto task = queue->take();
    current_ = queue.get();
    task();
    current_ = nullptr;
    return true;
}

bool SimDispatch::jumpToNextDeadline(std::chrono::nanoseconds limit) {
    while (!deadlines_.empty() && deadlines_.begin()->second->isCancelled())
        deadlines_.erase(deadlines_.begin());
    if (deadlines_.empty() || deadlines_.begin()->first > limit) return false;
    const auto time = deadlines_.begin()->first;
    std::vector<std::shared_ptr<SimWorkItem>> due;
    for (const auto last = deadlines_.upper_bound(time); deadlines_.begin() != last;) {
        due.push_back(deadlines_.begin()->second);
        deadlines_.erase(deadlines_.begin());
    }
    clock_->elapsed = std::max(clock_->elapsed, time);
    for (; !due.empty(); due.pop_back()) {
        std::swap(due[draw(due.size())], due.back());
        SimWorkItem::fire(due.back());
    }
    return true;
}

void SimDispatch::advance(std::chrono::nanoseconds duration) {
    const auto end = clock_->elapsed + duration;
    do {
        while (runOne()) {
        }
    } while (jumpToNextDeadline(end));
    clock_->elapsed = end;
}

bool SimDispatch::advanceUntil(const std::function<bool()>& condition,
                               std::chrono::nanoseconds limit) {
    const auto end = clock_->elapsed + limit;
    while (!condition()) {
        if (!runOne() && !jumpToNextDeadline(end)) return condition();
    }
    return true;
}

std::chrono::nanoseconds SimDispatch::elapsed() const {
    return clock_->elapsed;
}

void SimDispatch::stepWallClock(std::chrono::nanoseconds step) {
    clock_->wallStep += step;
}

std::uint64_t SimDispatch::draw(std::uint64_t below) {
    return std::uniform_int_distribution<std::uint64_t>(0, below - 1)(random_);
}

}  // namespace quorvane::simulation
