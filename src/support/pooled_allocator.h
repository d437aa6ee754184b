// Memory for buffers that are made again and again: after the first few, the heap is not asked.
// Everything allocated holds the pool, so buffers may outlive whoever made them.
// Threads: any.
#pragma once

#include <cstddef>
#include <memory>
#include <memory_resource>
#include <utility>

namespace quorvane::support {

using MemoryPool = std::shared_ptr<std::pmr::synchronized_pool_resource>;

// largestBlock in bytes; larger ones come from the heap each time.
inline MemoryPool makeMemoryPool(std::size_t largestBlock) {
    return std::make_shared<std::pmr::synchronized_pool_resource>(
        std::pmr::pool_options{0, largestBlock});
}

// A standard allocator, also for std::allocate_shared.
template <class T>
class PooledAllocator {
  public:
    using value_type = T;

    explicit PooledAllocator(MemoryPool pool) : pool_(std::move(pool)) {}
    template <class U>
    PooledAllocator(const PooledAllocator<U>& other)  // NOLINT(google-explicit-constructor)
        : pool_(other.pool()) {}

    T* allocate(std::size_t count) {
        return static_cast<T*>(pool_->allocate(count * sizeof(T), alignof(T)));
    }
    void deallocate(T* memory, std::size_t count) noexcept {
        pool_->deallocate(memory, count * sizeof(T), alignof(T));
    }
    const MemoryPool& pool() const noexcept { return pool_; }
    bool operator==(const PooledAllocator& other) const noexcept { return pool_ == other.pool_; }

  private:
    MemoryPool pool_;
};

}  // namespace quorvane::support
