// Whether a movie writer in this status may still be told that its inputs are finished: only one
// that is writing. The self-test checks it.
#pragma once

#include "platform/movie_writer.h"

namespace quorvane::capture {

constexpr bool recorderShouldMarkInputsFinished(platform::MovieWriterStatus status) {
    return status == platform::MovieWriterStatus::writing;
}

}  // namespace quorvane::capture
