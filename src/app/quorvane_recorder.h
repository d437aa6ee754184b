// The entry: runs the one sub-command that the first argument names.
#pragma once

#include <memory>

#include "cli/arguments.h"
#include "control/recorder_events.h"
#include "platform/platform.h"
#include "support/async.h"

namespace quorvane::app {

// Connects nothing by itself; each sub-command asks the platform for what it needs.
struct QuorvaneRecorder {
    // Runs on the main queue. Every error ends in fail(); when this returns, the process is to end
    // with status 0. The platform and the events live as long as the process: a late answer to a
    // command may still be on its way when this returns.
    static support::Async<> main(cli::Arguments arguments, platform::Platform& platform,
                                 control::RecorderEvents& events);
};

}  // namespace quorvane::app
