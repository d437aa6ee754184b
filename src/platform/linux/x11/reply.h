// Ownership of what XCB allocates.
#pragma once

#include <cstdlib>
#include <memory>

namespace quorvane::platform::x11 {

struct FreeReply {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

// A reply, an event or an error; null when there is none.
template <class T>
using Reply = std::unique_ptr<T, FreeReply>;

}  // namespace quorvane::platform::x11
