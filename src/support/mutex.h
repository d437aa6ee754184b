// std::mutex as a capability that Clang's thread-safety analysis understands.
#pragma once

#include <condition_variable>
#include <mutex>

#include "support/thread_annotations.h"

namespace quorvane::support {

class QUORVANE_CAPABILITY("mutex") Mutex {
  public:
    void lock() QUORVANE_ACQUIRE() { mutex_.lock(); }
    void unlock() QUORVANE_RELEASE() { mutex_.unlock(); }

  private:
    std::mutex mutex_;
};

class QUORVANE_SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) QUORVANE_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() QUORVANE_RELEASE() { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

  private:
    Mutex& mutex_;
};

// Waits with a support::Mutex held: condition.wait(mutex, predicate).
using Condition = std::condition_variable_any;

}  // namespace quorvane::support
