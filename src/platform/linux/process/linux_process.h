// The process on Linux: signals by signalfd, the parent's end by pidfd, standard streams by
// descriptor.
#pragma once

#include "platform/linux/process/line_writer.h"
#include "platform/process.h"

namespace quorvane::platform::process {

// One instance a process, made by the main thread before any other thread exists.
// Errors are PlatformErrors of the domain "POSIX".
class LinuxProcess final : public Process {
  public:
    LinuxProcess();

    // SIGPIPE is ignored; another signal is blocked in the calling (the main) thread with its
    // default disposition, because an ignored signal reaches no signalfd. Every other thread of the
    // program blocks all signals.
    void ignoreSignal(Signal signal) override;
    std::unique_ptr<EventSource> signalSource(Signal signal, support::Queue& queue,
                                              std::function<void()> handler) override;
    std::unique_ptr<EventSource> parentExitSource(support::Queue& queue,
                                                  std::function<void()> handler) override;
    void readStandardInput(std::size_t largestRead,
                           std::function<void(std::span<const std::byte>)> onBytes) override;
    void writeStandardOutput(std::string_view line, std::chrono::milliseconds patience) override;
    void writeStandardError(std::string_view line) override;

  private:
    // Gives the numbers of standard streams that are closed to the null device: whatever is opened
    // first would get them, and be read as commands or have events written into it.
    struct StandardStreams {
        StandardStreams();
    };

    const StandardStreams streams_;
    const int parent_;  // its process identifier at our start
    LineWriter standardOutput_;
    LineWriter standardError_;
};

}  // namespace quorvane::platform::process
