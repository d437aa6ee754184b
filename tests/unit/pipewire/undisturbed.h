// Measurements that depend on the punctuality of others: of the sound server, of a player, of the
// test itself. Whoever gets no processor in time spoils one, which then looks like a fault of the
// source. But a fault shows each time: one undisturbed measurement suffices.
// Threads: the test's. Errors: none.
#pragma once

#include <functional>

#include <gtest/gtest.h>

namespace quorvane::test {

// The first good result of so many attempts, or else the last bad one. What the test's own servers
// and players throw (std::runtime_error) makes a bad one.
testing::AssertionResult undisturbed(int attempts,
                                     const std::function<testing::AssertionResult()>& measure);

}  // namespace quorvane::test
