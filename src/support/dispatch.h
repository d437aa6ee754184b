// Queues, deadlines and clocks: how everything in the program runs and tells the time.
// Why abstract: the program runs on Asio (asio_dispatch.h); the tests run the same code on one
// thread in virtual time, where a seed decides which queue goes next.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "support/media_time.h"
#include "support/task.h"
#include "support/thread_annotations.h"

namespace quorvane::support {

// Reads both clocks. Threads: any.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual MediaTime hostTime() const = 0;
    virtual WallTime wallTime() const = 0;
};

// Runs tasks. A serial queue runs one at a time, in the order of posting; the global queue runs
// several at once. A task that throws ends the process: tasks handle their own errors.
// Threads: any may post. Posting never blocks and never runs the task itself.
class QUORVANE_CAPABILITY("queue") Queue {
  public:
    virtual ~Queue() = default;
    virtual void post(Task task) = 0;
    // Whether the caller is a task of this queue.
    virtual bool isCurrent() const = 0;
    // States (and in debug builds checks) that the caller is a task of this queue.
    void assertCurrent() const QUORVANE_ASSERT_CAPABILITY(this);
};

// A task scheduled for later. Dropping the handle does not cancel it.
class WorkItem {
  public:
    virtual ~WorkItem() = default;
    // The task does not run any more, unless it has begun already. Any thread; idempotent.
    virtual void cancel() = 0;
};

// Threads: every member may be called from any thread.
class Dispatch {
  public:
    virtual ~Dispatch() = default;
    virtual const Clock& clock() const = 0;
    // The queue of the thread that runs main().
    virtual Queue& mainQueue() = 0;
    // For work that belongs to no queue: deadlines, completions. Its tasks must not block.
    virtual Queue& globalQueue() = 0;
    virtual std::shared_ptr<Queue> makeSerialQueue(std::string label) = 0;
    // Posts the task to the queue when the delay has passed on the host clock.
    virtual std::shared_ptr<WorkItem> schedule(Queue& queue, std::chrono::nanoseconds delay,
                                               Task task) = 0;
};

}  // namespace quorvane::support
