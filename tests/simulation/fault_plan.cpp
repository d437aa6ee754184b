#include "simulation/fault_plan.h"

#include "platform/platform_error.h"

namespace quorvane::simulation {

std::exception_ptr FaultPlan::error() {
    return std::make_exception_ptr(platform::PlatformError("Injected", 7, "An injected fault."));
}

}  // namespace quorvane::simulation
