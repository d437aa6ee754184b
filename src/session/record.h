// The run of one recording, from its request to the end of the process's work.
#pragma once

#include "cli/recording_request.h"
#include "control/recorder_events.h"
#include "platform/platform.h"
#include "support/async.h"

namespace quorvane::session {

// Records until a signal, the parent's end or the capture itself stops it. Returns with a playable
// movie at the output path; throws the first error that ends the run.
// Threads: called and resumed on the main queue. Once it runs, SIGINT and SIGTERM do not end the
// process any more, not even after it has returned.
support::Async<> record(cli::RecordingRequest request, platform::Platform& platform,
                        control::RecorderEvents& events);

}  // namespace quorvane::session
