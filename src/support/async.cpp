#include "support/async.h"

namespace quorvane::support {
namespace {

// A coroutine that nobody awaits: it frees itself when it ends.
struct Detached {
    struct promise_type {
        Detached get_return_object() const noexcept { return {}; }
        std::suspend_never initial_suspend() const noexcept { return {}; }
        std::suspend_never final_suspend() const noexcept { return {}; }
        void return_void() const noexcept {}
        void unhandled_exception() const noexcept { std::terminate(); }
    };
};

Detached run(Async<void> operation) {
    co_await operation;
}

}  // namespace

void startDetached(Queue& queue, Async<void> operation) {
    queue.post([operation = std::move(operation)]() mutable { run(std::move(operation)); });
}

}  // namespace quorvane::support
