// A queue in memory that is allocated once.
// Threads: a value, one thread at a time.
#pragma once

#include <cassert>
#include <cstddef>
#include <utility>
#include <vector>

namespace quorvane::platform::libav {

template <class T>
class BoundedQueue {
  public:
    explicit BoundedQueue(std::size_t capacity) : items_(capacity) {}

    bool empty() const { return count_ == 0; }
    bool full() const { return count_ == items_.size(); }
    std::size_t size() const { return count_; }
    // There is room.
    void push(T item) {
        assert(!full());
        items_[(first_ + count_++) % items_.size()] = std::move(item);
    }
    // There is an item.
    T pop() {
        assert(!empty());
        T item = std::exchange(items_[first_], T());
        first_ = (first_ + 1) % items_.size();
        --count_;
        return item;
    }

  private:
    std::vector<T> items_;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

}  // namespace quorvane::platform::libav
