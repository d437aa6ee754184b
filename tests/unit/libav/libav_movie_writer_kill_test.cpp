// A recording whose process is killed.
#include <algorithm>
#include <csignal>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "unit/libav/faulty_disk.h"
#include "unit/libav/movie_reader.h"
#include "unit/libav/movie_recording.h"

namespace quorvane::platform::libav {
namespace {

// Records in real time until it is killed. Runs in a process of its own.
[[noreturn]] void record(const std::string& path, std::chrono::milliseconds moving) {
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
        if (index == 0 || time - begin < moving)
            video->append(std::make_shared<PictureSample>(
                320, 180, time, Colour{static_cast<std::uint8_t>(20 + index), 128, 128}));
        audio->append(floatSound(time, 1584, [](std::int64_t) { return 0.1F; }));
    }
}

TEST(LibavMovieWriterKill, LeavesAMovieThatPlaysToWithinTwoSeconds) {
    struct Row {
        const char* name;
        std::chrono::milliseconds moving;
        pid_t child = 0;
        std::string path{};
    };
    const TestFolder folder;
    Row rows[] = {{"a moving screen", 1h}, {"a still screen", 0ms}, {"a screen gone still", 1s}};
    for (auto& row : rows) {
        row.path = folder.file(std::to_string(&row - rows) + ".mp4");
        row.child = fork();
        ASSERT_GE(row.child, 0);
        if (row.child == 0) record(row.path, row.moving);
    }
    constexpr auto lifetime = 3s;
    std::this_thread::sleep_for(lifetime);
    for (auto& row : rows) {
        ASSERT_EQ(kill(row.child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(row.child, &status, 0), row.child);
        EXPECT_TRUE(WIFSIGNALED(status));
    }
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        constexpr double least = std::chrono::duration<double>(lifetime).count() - 2;
        EXPECT_GE(trackDuration(row.path, 0), least);
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
            for (auto time = 0ms; time < 60s; time += 100ms) {
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
