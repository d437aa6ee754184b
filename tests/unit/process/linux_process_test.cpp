// Each case runs in a process of its own, because signals, parents and standard streams are its.
#include "platform/linux/process/linux_process.h"

#include <array>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/asio_dispatch.h"
#include "unit/temporary_folder.h"

namespace quorvane::platform::process {
namespace {

using namespace std::chrono_literals;

// Runs the body in a child; its exit status, or -1 when it was killed or took 10 s.
int statusOf(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(10);
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

struct Arrival {
    std::promise<void> promise;
    std::atomic<int> count = 0;
    void arrive() {
        if (++count == 1) promise.set_value();
    }
    bool within(std::chrono::milliseconds limit) {
        return promise.get_future().wait_for(limit) == std::future_status::ready;
    }
};

// Raised once before and once while it is watched, and once after.
int raiseThrice(Signal signal, int number) {
    LinuxProcess process;
    support::AsioDispatch dispatch;
    process.ignoreSignal(signal);
    kill(getpid(), number);
    Arrival arrival;
    const auto source =
        process.signalSource(signal, dispatch.globalQueue(), [&] { arrival.arrive(); });
    if (!arrival.within(5s)) return 1;
    kill(getpid(), number);
    for (int tries = 0; arrival.count < 2 && tries < 5000; ++tries)
        usleep(1000);
    if (arrival.count != 2) return 2;
    source->cancel();
    kill(getpid(), number);
    return arrival.count == 2 ? 0 : 3;
}

TEST(LinuxProcess, SignalsReachTheirSourceAndKillNobody) {
    EXPECT_EQ(statusOf([] { return raiseThrice(Signal::interrupt, SIGINT); }), 0);
    EXPECT_EQ(statusOf([] { return raiseThrice(Signal::terminate, SIGTERM); }), 0);
}

TEST(LinuxProcess, ASignalInheritedAsIgnoredOrBlockedStillArrives) {
    EXPECT_EQ(statusOf([] {
                  signal(SIGTERM, SIG_IGN);
                  sigset_t set;
                  sigemptyset(&set);
                  sigaddset(&set, SIGTERM);
                  sigprocmask(SIG_BLOCK, &set, nullptr);
                  LinuxProcess process;
                  support::AsioDispatch dispatch;
                  process.ignoreSignal(Signal::terminate);
                  Arrival arrival;
                  const auto source = process.signalSource(
                      Signal::terminate, dispatch.globalQueue(), [&] { arrival.arrive(); });
                  kill(getpid(), SIGTERM);
                  return arrival.within(5s) ? 0 : 1;
              }),
              0);
}

TEST(LinuxProcess, ABrokenPipeDoesNotKill) {
    EXPECT_EQ(statusOf([] {
                  LinuxProcess process;
                  process.ignoreSignal(Signal::brokenPipe);
                  std::array<int, 2> ends{};
                  if (pipe(ends.data()) != 0) return 1;
                  close(ends[0]);
                  return write(ends[1], "x", 1) == -1 && errno == EPIPE ? 0 : 2;
              }),
              0);
}

TEST(LinuxProcess, AFileSizeLimitFailsTheWriteAlone) {
    const TemporaryFolder folder;
    EXPECT_EQ(statusOf([&] {
                  const LinuxProcess process;
                  const rlimit limit{16, 16};
                  if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 1;
                  const int file =
                      open((folder / "file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
                  const std::string text(17, 'x');
                  if (write(file, text.data(), text.size()) != 16) return 2;
                  return write(file, "x", 1) == -1 && errno == EFBIG ? 0 : 3;
              }),
              0);
}

// A grandchild whose parent ends when told, and what it saw by its exit status.
int parentEnd(bool goneBeforeWatching) {
    std::array<int, 2> result{};
    std::array<int, 2> ready{};
    EXPECT_EQ(pipe2(result.data(), O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(ready.data(), O_CLOEXEC), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        if (fork() == 0) {
            alarm(10);
            LinuxProcess process;
            support::AsioDispatch dispatch;
            Arrival arrival;
            const pid_t watched = getppid();
            if (goneBeforeWatching) {
                (void)!write(ready[1], "x", 1);
                while (getppid() == watched)
                    usleep(1000);
            }
            const auto source =
                process.parentExitSource(dispatch.globalQueue(), [&] { arrival.arrive(); });
            if (!goneBeforeWatching) (void)!write(ready[1], "x", 1);
            const char saw = arrival.within(5s) ? 'y' : 'n';
            (void)!write(result[1], &saw, 1);
            _exit(0);
        }
        char go = 0;
        (void)!read(ready[0], &go, 1);
        _exit(0);
    }
    close(result[1]);
    waitpid(parent, nullptr, 0);
    char saw = '?';
    (void)!read(result[0], &saw, 1);
    for (const int end : {result[0], ready[0], ready[1]})
        close(end);
    return saw;
}

TEST(LinuxProcess, SeesItsParentsEnd) {
    EXPECT_EQ(parentEnd(false), 'y');
}

TEST(LinuxProcess, SeesThatItsParentHasEndedAlready) {
    EXPECT_EQ(parentEnd(true), 'y');
}

TEST(LinuxProcess, ALivingParentIsNoEvent) {
    EXPECT_EQ(statusOf([] {
                  LinuxProcess process;
                  support::AsioDispatch dispatch;
                  Arrival arrival;
                  const auto source =
                      process.parentExitSource(dispatch.globalQueue(), [&] { arrival.arrive(); });
                  source->cancel();
                  return arrival.count == 0 ? 0 : 1;
              }),
              0);
}

TEST(LinuxProcess, ReadsStandardInputInChunksToItsEnd) {
    EXPECT_EQ(statusOf([] {
                  std::array<int, 2> ends{};
                  if (pipe(ends.data()) != 0) return 1;
                  dup2(ends[0], STDIN_FILENO);
                  LinuxProcess process;
                  std::promise<std::string> all;
                  std::string text;
                  bool tooLarge = false;
                  process.readStandardInput(4096, [&](std::span<const std::byte> bytes) {
                      if (bytes.empty()) return all.set_value(text);
                      tooLarge = tooLarge || bytes.size() > 4096;
                      text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
                  });
                  const std::string sent(20'000, 'c');
                  if (write(ends[1], sent.data(), sent.size()) != 20'000) return 2;
                  close(ends[1]);
                  auto received = all.get_future();
                  if (received.wait_for(5s) != std::future_status::ready) return 3;
                  return received.get() == sent && !tooLarge ? 0 : 4;
              }),
              0);
}

}  // namespace
}  // namespace quorvane::platform::process
