// The webcam-preview command: a camera's picture in a bubble above everything else, which the
// parent moves, reshapes, points at another camera and closes by lines on standard input.
#pragma once

#include "cli/arguments.h"
#include "platform/platform.h"
#include "support/async.h"

namespace quorvane::webcam {

// Runs the bubble until "quit", the end of standard input, or a signal to interrupt or terminate.
// Gives the exit status: 0, or 2 for a missing or malformed rectangle, said on standard error
// before anything is opened. Standard output is never written.
// Threads: the main queue. The platform outlives the operation.
// Errors: PlatformError when there is no window system or when it goes away.
support::Async<int> runWebcamPreview(cli::Arguments arguments, platform::Platform& platform);

}  // namespace quorvane::webcam
