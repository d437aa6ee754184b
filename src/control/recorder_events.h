// The channel to the parent process: event lines out, command lines in.
#pragma once

#include <functional>

#include "control/messages.h"
#include "platform/process.h"
#include "support/mutex.h"

namespace quorvane::control {

// One instance a process, made at its start, because standard output is one.
class RecorderEvents {
  public:
    explicit RecorderEvents(platform::Process& process) : process_(process) {}

    // Writes the message as one whole line. Any thread. Errors: none; a message that cannot be
    // encoded or written is dropped. A parent that does not read loses "levels" and "heartbeat"
    // lines at once and any other line after 1 s, because it must not stop the recording.
    void send(const RecorderMessage& message) QUORVANE_EXCLUDES(lock_);

    // Starts reading commands and returns. The handler is called for every line that decodes, in
    // order, on the reader's thread, until standard input ends. Called at most once.
    void readCommands(std::function<void(const RecorderCommand&)> handler);

  private:
    platform::Process& process_;
    support::Mutex lock_;  // held for one line, so that lines never mix
};

}  // namespace quorvane::control
