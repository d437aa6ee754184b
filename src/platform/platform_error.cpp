#include "platform/platform_error.h"

#include <system_error>

namespace quorvane::platform {

PlatformError posixError(int errorNumber, const std::string& doing) {
    return {"POSIX", errorNumber, doing + ": " + std::generic_category().message(errorNumber)};
}

}  // namespace quorvane::platform
