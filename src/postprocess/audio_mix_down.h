// Several audio tracks of a finished movie become one.
#pragma once

#include <string>

#include "control/recorder_events.h"
#include "platform/platform.h"
#include "support/async.h"

namespace quorvane::postprocess {

// Rewrites the movie in place: its first picture track as it is, all its audio tracks mixed at unit
// volume. A movie with fewer than two audio tracks stays untouched. While it works the parent gets
// "heartbeat" lines. The movie is replaced in one step, and only by a complete new one; whatever
// happens, no scratch file stays beside it.
// Threads: called and resumed on the main queue. Platform and events outlive the operation.
// Errors: the platform's, or RecorderError; the movie is then as it was.
support::Async<> mixDownRecordingAudioTracksIfNeeded(std::string path, platform::Platform& platform,
                                                     control::RecorderEvents& events);

}  // namespace quorvane::postprocess
