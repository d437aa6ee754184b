// Whether this process may read the screen.
#pragma once

#include <string>

namespace quorvane::platform::x11 {

// Whether the X server (an empty name means the environment's display) answers within two seconds
// and hands out a pixel of its screen. Threads: any. Errors: none.
bool canReadScreen(const std::string& displayName = {});

}  // namespace quorvane::platform::x11
