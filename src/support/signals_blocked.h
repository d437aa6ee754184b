// Blocks every signal in this thread while it lives. Threads that are started meanwhile inherit the
// mask: blocking only inside of them would leave a moment in which a signal could still end the
// process.
// Threads: the one that made it. Errors: none.
#pragma once

#include <pthread.h>
#include <signal.h>

namespace quorvane::support {

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

}  // namespace quorvane::support
