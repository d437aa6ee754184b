#include "unit/pipewire/undisturbed.h"

#include <chrono>
#include <iostream>
#include <stdexcept>
#include <thread>

namespace quorvane::test {
namespace {

// Disturbances last: what spoiled one attempt should not spoil the next as well.
constexpr auto recovery = std::chrono::milliseconds(500);

testing::AssertionResult attempt(const std::function<testing::AssertionResult()>& measure) {
    try {
        return measure();
    } catch (const std::runtime_error& error) {
        return testing::AssertionFailure() << error.what();
    }
}

}  // namespace

testing::AssertionResult undisturbed(int attempts,
                                     const std::function<testing::AssertionResult()>& measure) {
    auto result = attempt(measure);
    for (int done = 1; done < attempts && !result; ++done) {
        std::cout << "disturbed, once more: " << result.message() << std::endl;
        std::this_thread::sleep_for(recovery);
        result = attempt(measure);
    }
    return result;
}

}  // namespace quorvane::test
