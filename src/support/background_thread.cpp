#include "support/background_thread.h"

#include <algorithm>
#include <utility>

#include <pthread.h>
#include <signal.h>

namespace quorvane::support {
namespace {

// Blocks every signal in this thread while it lives. A new thread inherits the mask: blocking only
// inside it would leave a moment in which a signal could still end the process.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t everything;
        sigfillset(&everything);
        pthread_sigmask(SIG_SETMASK, &everything, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t before_{};
};

}  // namespace

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
