// Wakes a thread that waits in poll().
// Threads: any. Errors: PlatformError when it cannot be made.
#pragma once

namespace quorvane::platform::x11 {

class Wakeup {
  public:
    Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;
    ~Wakeup();

    int descriptor() const { return descriptor_; }
    // The descriptor reads ready until the next reset().
    void signal() noexcept;
    void reset() noexcept;

  private:
    int descriptor_;
};

}  // namespace quorvane::platform::x11
