#include "support/background_thread.h"

#include <algorithm>
#include <utility>

#include <pthread.h>

#include "support/signals_blocked.h"

namespace quorvane::support {

std::thread startBackgroundThread(std::string name, Task body) {
    constexpr std::size_t longestName = 15;  // the kernel's limit
    name.resize(std::min(name.size(), longestName));
    const SignalsBlocked blocked;
    return std::thread([name = std::move(name), body = std::move(body)]() mutable {
        pthread_setname_np(pthread_self(), name.c_str());
        body();
    });
}

}  // namespace quorvane::support
