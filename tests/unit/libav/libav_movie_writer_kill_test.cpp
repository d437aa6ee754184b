// A recording whose process is killed.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <new>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include "unit/libav/faulty_disk.h"
#include "unit/libav/movie_reader.h"
#include "unit/libav/movie_recording.h"

namespace quorvane::platform::libav {
namespace {

// A time that a process sets for its parent, who reads it also when the process has been killed.
class SharedTime {
  public:
    SharedTime() {
        void* const page = mmap(nullptr, sizeof(std::atomic<std::int64_t>), PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED) throw std::bad_alloc();
        milliseconds_ = new (page) std::atomic<std::int64_t>(0);
    }
    ~SharedTime() { munmap(milliseconds_, sizeof *milliseconds_); }
    SharedTime(const SharedTime&) = delete;
    SharedTime& operator=(const SharedTime&) = delete;

    void set(std::chrono::milliseconds time) { *milliseconds_ = time.count(); }
    std::chrono::milliseconds get() const { return std::chrono::milliseconds(*milliseconds_); }

  private:
    std::atomic<std::int64_t>* milliseconds_;
};

// Records in real time until it is killed. Runs in a process of its own.
[[noreturn]] void record(const std::string& path, std::chrono::milliseconds moving,
                         SharedTime& appended) {
    const RealClock clock;
    LibavMovieWriter writer(path, clock);
    auto* const video = writer.addVideoInput(pictureSettings(320, 180));
    auto* const audio = writer.addAudioInput(soundSettings);
    if (!writer.startWriting()) _exit(1);
    const auto begin = clock.hostTime();
    writer.startSession(begin);
    for (int index = 0;; ++index) {
        const auto time = begin + index * 33ms;
        std::this_thread::sleep_until(
            std::chrono::steady_clock::time_point(time.time_since_epoch()));
        if (index == 0 || time - begin < moving) {
            // After it was held up many come at once, for which the writer has no room.
            while (!video->isReadyForMoreMediaData())
                std::this_thread::sleep_for(1ms);
            video->append(std::make_shared<PictureSample>(
                320, 180, time, Colour{static_cast<std::uint8_t>(20 + index), 128, 128}));
        }
        audio->append(floatSound(time, 1584, [](std::int64_t) { return 0.1F; }));
        appended.set(index * 33ms);
    }
}

TEST(LibavMovieWriterKill, LeavesAMovieThatPlaysToWithinTwoSeconds) {
    struct Row {
        const char* name;
        std::chrono::milliseconds moving;
        pid_t child = 0;
        std::string path{};
        SharedTime appended{};
    };
    const TestFolder folder;
    Row rows[] = {{"a moving screen", 1h}, {"a still screen", 0ms}, {"a screen gone still", 1s}};
    for (auto& row : rows) {
        row.path = folder.file(std::to_string(&row - rows) + ".mp4");
        row.child = fork();
        ASSERT_GE(row.child, 0);
        if (row.child == 0) record(row.path, row.moving, row.appended);
    }
    for (auto& row : rows) {
        for (int wait = 0; wait < 3000 && row.appended.get() < 3500ms; ++wait)
            std::this_thread::sleep_for(10ms);
        ASSERT_EQ(kill(row.child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(row.child, &status, 0), row.child);
        EXPECT_TRUE(WIFSIGNALED(status));
    }
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const double appended = std::chrono::duration<double>(row.appended.get()).count();
        EXPECT_GE(appended, 3.5);
        // A still picture is brought up to date every second or so, and the writer may have been
        // held up for another one.
        EXPECT_GE(trackDuration(row.path, 0), appended - 2.5);
        const double least = appended - 2;
        EXPECT_GE(static_cast<double>(sound(row.path).size()) / 48000, least);
        const auto shown = pictures(row.path, 320, 180);
        ASSERT_FALSE(shown.empty());
        EXPECT_GE(std::chrono::duration<double>(shown.size() * 33ms).count(),
                  std::min(least, std::chrono::duration<double>(row.moving).count() - 0.1));
    }
}

TEST(LibavMovieWriterKill, LeavesAMovieWhicheverCallIsTheLast) {
    const TestFolder folder;
    std::size_t most = 0;
    for (int nth = 1; nth <= 16; ++nth) {
        SCOPED_TRACE(nth);
        const auto path = folder.file(std::to_string(nth) + ".mp4");
        const auto child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            Recording recording(path, 64, 48, 1);
            dieAtCall(nth);
            // It dies within a second or so, later where the disk is slow.
            for (auto time = 0ms; time < 10min; time += 100ms) {
                recording.picture(time);
                recording.soundUpTo(0, time, time + 100ms, [](std::int64_t) { return 0.1F; });
                std::this_thread::sleep_for(5ms);
            }
            _exit(1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status));
        // What cannot be opened is a failure of the reader.
        most = std::max(most, pictureTimes(path).size());
    }
    EXPECT_GT(most, 10U);
}

}  // namespace
}  // namespace quorvane::platform::libav
