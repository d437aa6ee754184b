// Coroutines: Async<T> is an operation that finishes later, suspend() waits for a callback.
// Why our own few lines: Asio's awaitable brings its executor into every signature and cannot run
// on the tests' virtual queues.
// Threads: a coroutine resumes only where suspend() says; nothing here is shared between threads
// but Continuation, which any thread may resume, once.
#pragma once

#include <cassert>
#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <utility>
#include <variant>

#include "support/dispatch.h"

namespace quorvane::support {

template <class T>
class Async;

namespace detail {

template <class T>
using ValueOf = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

template <class Promise>
struct ResumeAwaiting {
    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> finished) noexcept {
        const auto awaiting = finished.promise().awaiting;
        return awaiting ? awaiting : std::noop_coroutine();
    }
    void await_resume() const noexcept {}
};

template <class T>
struct PromiseBase {
    std::variant<std::monostate, ValueOf<T>, std::exception_ptr> result;
    std::coroutine_handle<> awaiting;

    std::suspend_always initial_suspend() const noexcept { return {}; }
    void unhandled_exception() noexcept { result.template emplace<2>(std::current_exception()); }
};

template <class T>
struct Promise : PromiseBase<T> {
    Async<T> get_return_object();
    ResumeAwaiting<Promise> final_suspend() const noexcept { return {}; }
    template <class U>
    void return_value(U&& value) {
        this->result.template emplace<1>(std::forward<U>(value));
    }
};

template <>
struct Promise<void> : PromiseBase<void> {
    Async<void> get_return_object();
    ResumeAwaiting<Promise> final_suspend() const noexcept { return {}; }
    void return_void() noexcept { result.emplace<1>(); }
};

}  // namespace detail

// Starts when it is awaited, and then runs on the awaiting queue.
template <class T = void>
class [[nodiscard]] Async {
  public:
    using promise_type = detail::Promise<T>;

    explicit Async(std::coroutine_handle<promise_type> handle) : handle_(handle) {}
    Async(Async&& other) noexcept : handle_(std::exchange(other.handle_, {})) {}
    Async& operator=(Async&&) = delete;
    ~Async() {
        if (handle_) handle_.destroy();
    }

    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> awaiting) noexcept {
        handle_.promise().awaiting = awaiting;
        return handle_;
    }
    T await_resume() {
        auto& result = handle_.promise().result;
        if (auto* error = std::get_if<2>(&result)) std::rethrow_exception(*error);
        if constexpr (!std::is_void_v<T>) return std::get<1>(std::move(result));
    }

  private:
    std::coroutine_handle<promise_type> handle_;
};

template <class T>
Async<T> detail::Promise<T>::get_return_object() {
    return Async<T>(std::coroutine_handle<Promise>::from_promise(*this));
}
inline Async<void> detail::Promise<void>::get_return_object() {
    return Async<void>(std::coroutine_handle<Promise>::from_promise(*this));
}

namespace detail {

template <class T>
struct SuspendState {
    explicit SuspendState(Queue& resumeOn) : queue(resumeOn) {}

    Queue& queue;
    std::variant<std::monostate, ValueOf<T>, std::exception_ptr> result;
    std::coroutine_handle<> waiting;
};

}  // namespace detail

// The waiter of a suspended coroutine. It is resumed exactly once, by a value or by an error; the
// coroutine then goes on as a task of the queue that suspend() named.
template <class T = void>
class Continuation {
  public:
    explicit Continuation(std::shared_ptr<detail::SuspendState<T>> state)
        : state_(std::move(state)) {}

    template <class... Value>
    void resume(Value&&... value) {
        finish([&](auto& result) { result.template emplace<1>(std::forward<Value>(value)...); });
    }
    void resumeThrowing(std::exception_ptr error) {
        finish([&](auto& result) { result.template emplace<2>(std::move(error)); });
    }

  private:
    template <class Store>
    void finish(Store store) {
        assert(state_ != nullptr && state_->result.index() == 0 && "a waiter is resumed once");
        const auto state = std::move(state_);
        store(state->result);
        state->queue.post([state] { state->waiting.resume(); });
    }

    std::shared_ptr<detail::SuspendState<T>> state_;
};

// co_await suspend<T>(queue, start): calls start(Continuation<T>) with the coroutine suspended.
template <class T, class Start>
class [[nodiscard]] Suspension {
  public:
    Suspension(Queue& queue, Start start)
        : state_(std::make_shared<detail::SuspendState<T>>(queue)), start_(std::move(start)) {}

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiting) {
        state_->waiting = waiting;
        // start may resume at once, on another thread, and so destroy this awaiter.
        auto start = std::move(start_);
        start(Continuation<T>(state_));
    }
    T await_resume() {
        auto& result = state_->result;
        if (auto* error = std::get_if<2>(&result)) std::rethrow_exception(*error);
        if constexpr (!std::is_void_v<T>) return std::get<1>(std::move(result));
    }

  private:
    std::shared_ptr<detail::SuspendState<T>> state_;
    Start start_;
};

template <class T, class Start>
Suspension<T, Start> suspend(Queue& queue, Start start) {
    return Suspension<T, Start>(queue, std::move(start));
}

// Runs an operation to its end as tasks of the queue. The operation must not throw: an error that
// leaves it ends the process.
void startDetached(Queue& queue, Async<void> operation);

}  // namespace quorvane::support
