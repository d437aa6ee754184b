// The shareable content as the program asks for it.
#pragma once

#include "platform/platform.h"
#include "support/async.h"

namespace quorvane::sources {

// Desktop windows in, only what is on screen. Resumes on the main queue; the platform's error is
// thrown unchanged.
support::Async<platform::ShareableContent> currentShareableContent(platform::Platform& platform);

}  // namespace quorvane::sources
