// Failures of FFmpeg's libraries as errors of ours: domain "libav", its code, its own words.
#pragma once

#include <string_view>

#include "platform/platform_error.h"

namespace quorvane::platform::libav {

// "Could not <doing>: <the library's text for the code>".
PlatformError libavError(int code, std::string_view doing);
// Throws it for a negative code.
void throwIfError(int code, std::string_view doing);

}  // namespace quorvane::platform::libav
