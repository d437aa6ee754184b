// The check that the program makes of its own writer-status rule.
#pragma once

namespace quorvane::app {

// Throws RecorderError with the message of the first case that does not hold.
void runRecorderSelfTests();

}  // namespace quorvane::app
