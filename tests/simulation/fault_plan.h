// Which port call of a simulated platform fails.
#pragma once

#include <cstdint>
#include <exception>

namespace quorvane::simulation {

// The nth of all calls that can fail. 0 is none.
class FaultPlan {
  public:
    explicit FaultPlan(std::uint64_t nth = 0) : nth_(nth) {}
    bool strikes() { return ++calls_ == nth_; }
    void strike() {
        if (strikes()) std::rethrow_exception(error());
    }
    bool fired() const { return nth_ != 0 && calls_ >= nth_; }
    static std::exception_ptr error();  // PlatformError, domain "Injected"

  private:
    std::uint64_t nth_;
    std::uint64_t calls_ = 0;
};

}  // namespace quorvane::simulation
