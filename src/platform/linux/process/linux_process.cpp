#include "platform/linux/process/linux_process.h"

#include <cerrno>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/linux/process/descriptor_source.h"
#include "platform/platform_error.h"
#include "support/background_thread.h"

namespace quorvane::platform::process {
namespace {

int signalNumber(Signal signal) {
    switch (signal) {
        case Signal::interrupt:
            return SIGINT;
        case Signal::terminate:
            return SIGTERM;
        case Signal::brokenPipe:
            return SIGPIPE;
    }
    return 0;
}

sigset_t setOf(int number) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    return set;
}

bool takeSignal(int descriptor) {
    signalfd_siginfo information;
    (void)!read(descriptor, &information, sizeof information);
    return true;
}

// Orphans are given to process 1. It counts as a real parent only when it started us in its own
// session, as a program that is process 1 of a container does.
bool isOrphan(int parent) {
    return parent == 1 && getsid(0) != getsid(1);
}

}  // namespace

LinuxProcess::StandardStreams::StandardStreams() {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        // The lowest free number is taken, so this is the one.
        if (fcntl(number, F_GETFD) < 0 && errno == EBADF) (void)open("/dev/null", O_RDWR);
    }
}

LinuxProcess::LinuxProcess()
    : parent_(getppid()), standardOutput_(STDOUT_FILENO), standardError_(STDERR_FILENO) {
    // A limit on the size of files is to fail the write, not to end the process.
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, nullptr);
}

void LinuxProcess::ignoreSignal(Signal signal) {
    const int number = signalNumber(signal);
    struct sigaction action {};
    action.sa_handler = signal == Signal::brokenPipe ? SIG_IGN : SIG_DFL;
    if (signal != Signal::brokenPipe) {
        // Blocked first: between the two calls nothing may arrive unprotected.
        const auto set = setOf(number);
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
    }
    sigaction(number, &action, nullptr);
}

std::unique_ptr<EventSource> LinuxProcess::signalSource(Signal signal, support::Queue& queue,
                                                        std::function<void()> handler) {
    const auto set = setOf(signalNumber(signal));
    FileDescriptor descriptor(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (descriptor.get() < 0) throw posixError(errno, "Could not watch for signals");
    return std::make_unique<DescriptorSource>("signals", std::move(descriptor), takeSignal, queue,
                                              std::move(handler));
}

std::unique_ptr<EventSource> LinuxProcess::parentExitSource(support::Queue& queue,
                                                            std::function<void()> handler) {
    // 0: the parent is outside our process namespace, where nothing can be learned of its end.
    FileDescriptor descriptor(parent_ == 0 ? -1
                                           : static_cast<int>(syscall(SYS_pidfd_open, parent_, 0)));
    const int error = errno;
    // Asked after opening: a parent that ended in between has left us to another process.
    const bool gone = parent_ != 0 && (getppid() != parent_ || isOrphan(parent_) ||
                                       (descriptor.get() < 0 && error == ESRCH));
    if (gone) queue.post(handler);
    if (gone || parent_ == 0) {
        struct Nothing final : EventSource {
            void cancel() override {}
        };
        return std::make_unique<Nothing>();
    }
    if (descriptor.get() < 0) throw posixError(error, "Could not watch the parent process");
    return std::make_unique<DescriptorSource>(
        "parent", std::move(descriptor), [](int) { return false; }, queue, std::move(handler));
}

void LinuxProcess::readStandardInput(std::size_t largestRead,
                                     std::function<void(std::span<const std::byte>)> onBytes) {
    support::startBackgroundThread("commands", [largestRead, onBytes = std::move(onBytes)] {
        std::vector<std::byte> buffer(largestRead);
        for (;;) {
            const auto count = read(STDIN_FILENO, buffer.data(), buffer.size());
            if (count < 0 && errno == EINTR) continue;
            if (count < 0 && errno == EAGAIN) {
                // The parent has made its end's mode ours.
                pollfd ready{STDIN_FILENO, POLLIN, 0};
                poll(&ready, 1, -1);
                continue;
            }
            onBytes({buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0});
            if (count <= 0) return;
        }
    }).detach();
}

void LinuxProcess::writeStandardOutput(std::string_view line, std::chrono::milliseconds patience) {
    standardOutput_.write(line, patience);
}

void LinuxProcess::writeStandardError(std::string_view line) {
    standardError_.write(line, std::chrono::seconds(1));
}

}  // namespace quorvane::platform::process
