// A move-only callable without arguments: what queues run.
// Why not std::function: a task owns what it captures (samples, continuations), which need not be
// copyable, and one that captures up to 64 bytes costs no allocation on the sample path.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace quorvane::support {

class Task {
  public:
    Task() = default;

    template <class F>
    requires(!std::is_same_v<std::decay_t<F>, Task> && std::is_invocable_v<std::decay_t<F>&>)
        // NOLINTNEXTLINE(bugprone-forwarding-reference-overload): it is not for a task, see above
        Task(F&& function) {
        using Function = std::decay_t<F>;
        if constexpr (fits<Function>) {
            ::new (static_cast<void*>(storage_)) Function(std::forward<F>(function));
            operations_ = &Inline<Function>::operations;
        } else {
            ::new (static_cast<void*>(storage_)) Function*(new Function(std::forward<F>(function)));
            operations_ = &Heap<Function>::operations;
        }
    }

    Task(Task&& other) noexcept : operations_(std::exchange(other.operations_, nullptr)) {
        if (operations_ != nullptr) operations_->relocate(other.storage_, storage_);
    }
    Task& operator=(Task&& other) noexcept {
        if (this != &other) {
            reset();
            operations_ = std::exchange(other.operations_, nullptr);
            if (operations_ != nullptr) operations_->relocate(other.storage_, storage_);
        }
        return *this;
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task() { reset(); }

    explicit operator bool() const noexcept { return operations_ != nullptr; }
    void operator()() { operations_->call(storage_); }

  private:
    static constexpr std::size_t capacity = 64;

    struct Operations {
        void (*call)(void*);
        void (*relocate)(void* from, void* to) noexcept;
        void (*destroy)(void*) noexcept;
    };

    template <class Function>
    // NOLINTNEXTLINE(misc-redundant-expression): the two numbers have nothing in common
    static constexpr bool fits = sizeof(Function) <= capacity &&
                                 alignof(Function) <= alignof(std::max_align_t) &&
                                 std::is_nothrow_move_constructible_v<Function>;

    template <class Function>
    struct Inline {
        static Function& at(void* storage) {
            return *std::launder(static_cast<Function*>(storage));
        }
        static constexpr Operations operations{
            [](void* storage) { std::invoke(at(storage)); },
            [](void* from, void* to) noexcept {
                ::new (to) Function(std::move(at(from)));
                at(from).~Function();
            },
            [](void* storage) noexcept { at(storage).~Function(); }};
    };

    template <class Function>
    struct Heap {
        static Function*& at(void* storage) {
            return *std::launder(static_cast<Function**>(storage));
        }
        static constexpr Operations operations{
            [](void* storage) { std::invoke(*at(storage)); },
            [](void* from, void* to) noexcept { ::new (to) Function*(at(from)); },
            [](void* storage) noexcept { delete at(storage); }};
    };

    void reset() noexcept {
        if (operations_ != nullptr) std::exchange(operations_, nullptr)->destroy(storage_);
    }

    alignas(std::max_align_t) std::byte storage_[capacity];
    const Operations* operations_ = nullptr;
};

}  // namespace quorvane::support
