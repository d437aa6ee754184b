// An export as an operation that is awaited.
#pragma once

#include "platform/export_session.h"
#include "support/async.h"
#include "support/dispatch.h"

namespace quorvane::postprocess {

// Runs the export, which has been set up, to its end. Threads: resumes on the main queue.
// Errors: the session's own; without one, RecorderError "Could not finalize the recording audio.".
support::Async<> exportSession(std::shared_ptr<platform::ExportSession> exporter,
                               support::Dispatch& dispatch);

}  // namespace quorvane::postprocess
