// Asking a server that may not answer, without being held up by it.
#pragma once

#include <chrono>
#include <future>
#include <utility>

#include "support/background_thread.h"

namespace quorvane::platform {

// What ask() gives, or the other value when it throws or takes longer than that. It runs on a
// thread of its own, which is left behind when the server stays silent. Threads: any.
template <class Value, class Ask>
Value askPatiently(const char* thread, std::chrono::milliseconds patience, Value otherwise,
                   Ask ask) {
    std::promise<Value> promise;
    auto answer = promise.get_future();
    support::startBackgroundThread(thread, [otherwise, ask = std::move(ask),
                                            promise = std::move(promise)]() mutable {
        Value value = otherwise;
        try {
            value = ask();
        } catch (...) {
            value = otherwise;
        }
        promise.set_value(std::move(value));
    }).detach();
    return answer.wait_for(patience) == std::future_status::ready ? answer.get() : otherwise;
}

}  // namespace quorvane::platform
