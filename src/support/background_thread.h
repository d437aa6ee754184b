// Threads that take no signals.
#pragma once

#include <string>
#include <thread>

#include "support/task.h"

namespace quorvane::support {

// Starts a thread with every signal blocked from its first moment, so that one sent to the process
// reaches the main thread, or the descriptor that waits for it. The system shows the first 15
// characters of the name. Throws std::system_error when there are no more threads.
std::thread startBackgroundThread(std::string name, Task body);

}  // namespace quorvane::support
