// The port to the process: its signals, its parent and its standard streams.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "support/dispatch.h"

namespace quorvane::platform {

enum class Signal { interrupt, terminate, brokenPipe };

// Events that keep coming until the source is cancelled or destroyed.
class EventSource {
  public:
    virtual ~EventSource() = default;
    virtual void cancel() = 0;
};

class Process {
  public:
    virtual ~Process() = default;

    // From now on the signal has no effect of its own; signalSource() still sees it.
    virtual void ignoreSignal(Signal signal) = 0;
    // Posts the handler to the queue for every arrival of the signal, those included that came
    // after ignoreSignal(). Throws PlatformError.
    virtual std::unique_ptr<EventSource> signalSource(Signal signal, support::Queue& queue,
                                                      std::function<void()> handler) = 0;
    // Posts the handler to the queue once the parent process has ended, at once when it has
    // ended already. Throws PlatformError.
    virtual std::unique_ptr<EventSource> parentExitSource(support::Queue& queue,
                                                          std::function<void()> handler) = 0;

    // Reads standard input on a thread of its own, at most largestRead bytes at once, and hands the
    // bytes to the handler on that thread; without bytes at the end of the input or when reading
    // fails, after which no call follows. Called at most once; never cancelled: the process ends
    // whatever the thread waits for.
    virtual void readStandardInput(std::size_t largestRead,
                                   std::function<void(std::span<const std::byte>)> onBytes) = 0;
    // Writes the whole line or nothing of it: when the reader makes no room for it within the
    // patience (0: now), or is gone, the line is dropped. Any thread, one at a time.
    virtual void writeStandardOutput(std::string_view line, std::chrono::milliseconds patience) = 0;
    // The same for a warning that does not stop the work, with a patience of one second.
    virtual void writeStandardError(std::string_view line) = 0;
};

}  // namespace quorvane::platform
