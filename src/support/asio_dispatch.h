// The queues that the program runs on, by Asio: the main queue is an io_context run by the thread
// that calls run(), a serial queue is a strand on a small thread pool, the global queue is the pool
// itself.
#pragma once

#include <memory>
#include <string>

#include "support/dispatch.h"

namespace quorvane::support {

class AsioDispatch final : public Dispatch {
  public:
    AsioDispatch();
    // Ends the pool's threads after the tasks they are in; other tasks are dropped.
    ~AsioDispatch() override;
    AsioDispatch(const AsioDispatch&) = delete;
    AsioDispatch& operator=(const AsioDispatch&) = delete;

    // Runs the main queue's tasks on this thread until stop().
    void run();
    // Makes run() return after the task that it is in. Any thread.
    void stop();

    const Clock& clock() const override;
    Queue& mainQueue() override;
    Queue& globalQueue() override;
    std::shared_ptr<Queue> makeSerialQueue(std::string label) override;
    std::shared_ptr<WorkItem> schedule(Queue& queue, std::chrono::nanoseconds delay,
                                       Task task) override;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::support
