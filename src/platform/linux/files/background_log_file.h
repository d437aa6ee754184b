// A log file that is written by a thread of its own, because even a short write may wait for the
// disk, as long as a journal takes.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "platform/file_manager.h"
#include "platform/linux/file_descriptor.h"

namespace quorvane::platform::files {

// At most 64 KiB wait for the disk; lines beyond that are dropped.
class BackgroundLogFile final : public LogFile {
  public:
    // The file was opened for appending, and so that it does not wait for a reader. Throws
    // std::system_error when there are no more threads.
    explicit BackgroundLogFile(FileDescriptor file);
    // Gives the disk one second for what is left, then leaves the thread to itself.
    ~BackgroundLogFile() override;
    BackgroundLogFile(const BackgroundLogFile&) = delete;
    BackgroundLogFile& operator=(const BackgroundLogFile&) = delete;

    void append(std::string_view line) override;

  private:
    struct State;
    std::shared_ptr<State> state_;
    std::thread thread_;
};

}  // namespace quorvane::platform::files
