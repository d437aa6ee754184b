#include "support/asio_dispatch.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory_resource>
#include <thread>
#include <utility>
#include <vector>

#include <asio/execution/allocator.hpp>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/strand.hpp>

#include "support/background_thread.h"

namespace quorvane::support {
namespace {

using Allocator = std::pmr::polymorphic_allocator<std::byte>;

class SystemClock final : public Clock {
  public:
    MediaTime hostTime() const override {
        // libstdc++'s steady clock is CLOCK_MONOTONIC.
        return MediaTime(std::chrono::steady_clock::now().time_since_epoch());
    }
    WallTime wallTime() const override { return std::chrono::system_clock::now(); }
};

// A posted task whose place in Asio's queue comes from a pool: posting a sample from a thread that
// is not Asio's would otherwise allocate.
struct PooledTask {
    using allocator_type = Allocator;
    Task task;
    Allocator allocator;
    allocator_type get_allocator() const noexcept { return allocator; }
    void operator()() { task(); }
};

auto pooledExecutor(asio::io_context& context, const Allocator& allocator) {
    return asio::require(context.get_executor(), asio::execution::allocator(allocator));
}

template <class Executor>
class AsioQueue final : public Queue {
  public:
    AsioQueue(Executor executor, Allocator allocator)
        : executor_(std::move(executor)), allocator_(allocator) {}
    void post(Task task) override {
        asio::post(executor_, PooledTask{std::move(task), allocator_});
    }
    bool isCurrent() const override { return executor_.running_in_this_thread(); }

  private:
    Executor executor_;
    Allocator allocator_;
};

class ScheduledTask final : public WorkItem, public std::enable_shared_from_this<ScheduledTask> {
  public:
    ScheduledTask(asio::io_context& context, Queue& queue, Task task)
        : timer_(asio::make_strand(context)), queue_(queue), task_(std::move(task)) {}

    void start(std::chrono::nanoseconds delay) {
        timer_.expires_after(delay);
        timer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
            if (!error) self->queue_.post([self] { self->run(); });
        });
    }
    void cancel() override {
        taken_ = true;
        // The timer belongs to its strand; what waits there holds this object until it has ended.
        asio::post(timer_.get_executor(), [self = shared_from_this()] { self->timer_.cancel(); });
    }

  private:
    void run() {
        if (!taken_.exchange(true)) task_();
    }

    asio::steady_timer timer_;
    Queue& queue_;
    Task task_;
    std::atomic<bool> taken_ = false;  // cancelled, or run
};

}  // namespace

struct AsioDispatch::State {
    State()
        : allocator(&memory),
          mainQueue(pooledExecutor(mainContext, allocator), allocator),
          globalQueue(pooledExecutor(poolContext, allocator), allocator) {
        // Two at least, so that a blocked write to the parent does not hold up everything else.
        const auto count = std::clamp(std::thread::hardware_concurrency(), 2U, 4U);
        for (unsigned index = 0; index < count; ++index) {
            threads.push_back(startBackgroundThread("dispatch", [this] { poolContext.run(); }));
        }
    }
    ~State() {
        poolContext.stop();
        for (auto& thread : threads)
            thread.join();
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    using PooledExecutor = decltype(pooledExecutor(std::declval<asio::io_context&>(),
                                                   std::declval<const Allocator&>()));

    // The pool outlives the contexts, whose destructors free the tasks that never ran.
    std::pmr::synchronized_pool_resource memory;
    Allocator allocator;
    asio::io_context mainContext;
    asio::io_context poolContext;
    asio::executor_work_guard<asio::io_context::executor_type> mainWork{mainContext.get_executor()};
    asio::executor_work_guard<asio::io_context::executor_type> poolWork{poolContext.get_executor()};
    AsioQueue<PooledExecutor> mainQueue;
    AsioQueue<PooledExecutor> globalQueue;
    SystemClock clock;
    std::vector<std::thread> threads;
};

AsioDispatch::AsioDispatch() : state_(std::make_unique<State>()) {}
AsioDispatch::~AsioDispatch() = default;

void AsioDispatch::run() {
    state_->mainContext.run();
}

void AsioDispatch::stop() {
    state_->mainContext.stop();
}

const Clock& AsioDispatch::clock() const {
    return state_->clock;
}
Queue& AsioDispatch::mainQueue() {
    return state_->mainQueue;
}
Queue& AsioDispatch::globalQueue() {
    return state_->globalQueue;
}

std::shared_ptr<Queue> AsioDispatch::makeSerialQueue(std::string /*label*/) {
    auto strand = asio::make_strand(pooledExecutor(state_->poolContext, state_->allocator));
    return std::make_shared<AsioQueue<decltype(strand)>>(std::move(strand), state_->allocator);
}

std::shared_ptr<WorkItem> AsioDispatch::schedule(Queue& queue, std::chrono::nanoseconds delay,
                                                 Task task) {
    auto item = std::make_shared<ScheduledTask>(state_->poolContext, queue, std::move(task));
    item->start(delay);
    return item;
}

}  // namespace quorvane::support
