#include "postprocess/export_session.h"

#include <utility>

#include "cli/recorder_error.h"

namespace quorvane::postprocess {
namespace {

using platform::ExportStatus;

// Why the export did not complete; null when it did.
std::exception_ptr failureOf(const platform::ExportSession& exporter) {
    const auto status = exporter.status();
    if (status == ExportStatus::completed) return nullptr;
    if (status == ExportStatus::failed || status == ExportStatus::cancelled) {
        if (auto error = exporter.error()) return error;
    }
    return cli::unavailable("Could not finalize the recording audio.");
}

}  // namespace

support::Async<> exportSession(std::shared_ptr<platform::ExportSession> exporter,
                               support::Dispatch& dispatch) {
    co_await support::suspend<void>(dispatch.mainQueue(), [&](support::Continuation<> waiting) {
        // The coroutine holds the session until the completion has resumed it.
        exporter->exportAsynchronously(
            [&session = *exporter,
             waiter = std::make_shared<support::Continuation<>>(std::move(waiting))] {
                if (auto failure = failureOf(session))
                    return waiter->resumeThrowing(std::move(failure));
                waiter->resume();
            });
    });
}

}  // namespace quorvane::postprocess
