#include "app/self_test.h"

#include "capture/writer_status_rule.h"
#include "cli/recorder_error.h"

namespace quorvane::app {

using platform::MovieWriterStatus;

void runRecorderSelfTests() {
    struct Case {
        MovieWriterStatus status;
        bool expected;
        const char* message;
    };
    constexpr Case cases[] = {
        {MovieWriterStatus::unknown, false, "unknown writer must not mark inputs as finished"},
        {MovieWriterStatus::writing, true, "writing writer should mark inputs as finished"},
        {MovieWriterStatus::completed, false, "completed writer must not mark inputs as finished"},
        {MovieWriterStatus::failed, false, "failed writer must not mark inputs as finished"},
        {MovieWriterStatus::cancelled, false, "cancelled writer must not mark inputs as finished"},
    };
    for (const auto& each : cases) {
        if (capture::recorderShouldMarkInputsFinished(each.status) != each.expected)
            throw cli::RecorderError::unavailable(each.message);
    }
}

}  // namespace quorvane::app
