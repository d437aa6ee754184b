#include "platform/linux/files/background_log_file.h"

#include <cerrno>
#include <chrono>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "support/background_thread.h"
#include "support/mutex.h"

namespace quorvane::platform::files {
namespace {

constexpr std::size_t mostPending = std::size_t{64} << 10;  // bytes
constexpr auto closingPatience = std::chrono::seconds(1);

// One call a line, so that a reader of the growing file never sees half of one.
void writeLine(int descriptor, std::string_view line) {
    ssize_t written = 0;
    do {
        written = write(descriptor, line.data(), line.size());
    } while (written < 0 && errno == EINTR);
    if (written <= 0 || static_cast<std::size_t>(written) == line.size()) return;
    // The disk was full in the middle of the line: take the part back.
    struct stat status {};
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
        (void)!ftruncate(descriptor, status.st_size - written);
}

}  // namespace

struct BackgroundLogFile::State {
    explicit State(FileDescriptor descriptor) : file(std::move(descriptor)) {}

    void run() QUORVANE_EXCLUDES(mutex) {
        std::vector<std::string> lines;
        for (;;) {
            {
                support::MutexLock lock(mutex);
                while (pending.empty() && !closing)
                    changed.wait(mutex);
                if (pending.empty()) break;
                lines.swap(pending);
                pendingBytes = 0;
            }
            for (const auto& line : lines)
                writeLine(file.get(), line);
            lines.clear();
        }
        support::MutexLock lock(mutex);
        done = true;
        changed.notify_all();
    }

    FileDescriptor file;  // the thread's
    support::Mutex mutex;
    support::Condition changed;
    std::vector<std::string> pending QUORVANE_GUARDED_BY(mutex);
    std::size_t pendingBytes QUORVANE_GUARDED_BY(mutex) = 0;
    bool closing QUORVANE_GUARDED_BY(mutex) = false;
    bool done QUORVANE_GUARDED_BY(mutex) = false;
};

BackgroundLogFile::BackgroundLogFile(FileDescriptor file)
    : state_(std::make_shared<State>(std::move(file))),
      thread_(support::startBackgroundThread("health-log", [state = state_] { state->run(); })) {}

BackgroundLogFile::~BackgroundLogFile() {
    const auto deadline = std::chrono::steady_clock::now() + closingPatience;
    bool done = false;
    {
        support::MutexLock lock(state_->mutex);
        state_->closing = true;
        state_->changed.notify_all();
        while (!state_->done &&
               state_->changed.wait_until(state_->mutex, deadline) == std::cv_status::no_timeout) {
        }
        done = state_->done;
    }
    if (done) {
        thread_.join();
    } else {
        thread_.detach();
    }
}

void BackgroundLogFile::append(std::string_view line) {
    support::MutexLock lock(state_->mutex);
    if (state_->pendingBytes + line.size() > mostPending) return;
    state_->pending.emplace_back(line);
    state_->pendingBytes += line.size();
    state_->changed.notify_all();
}

}  // namespace quorvane::platform::files
