// Every call that changes a file fails once, and the process dies at every one of them: at the
// movie's path there is the old one or the new one, whole.
#include <cerrno>
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "unit/libav/faulty_disk.h"
#include "unit/postprocess/real_mix_down.h"

namespace quorvane::postprocess {
namespace {

using platform::libav::countCalls;
using platform::libav::dieAtCall;
using platform::libav::failAtCall;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int mostCalls = 40;

TEST_F(RealMixDown, ACallThatFailsLeavesTheOldMovieOrTheNewOneAndNothingElse) {
    const auto ordinary = movie("ordinary.mp4");
    const auto original = read(ordinary);
    const auto path = (folder / "movie.mp4").string();
    int failures = 0;
    bool reached = true;
    for (int nth = 1; reached; ++nth) {
        SCOPED_TRACE(nth);
        ASSERT_LT(nth, mostCalls);
        std::filesystem::copy_file(ordinary, path);
        failAtCall(nth, EIO);
        const auto error = mixDown(path);
        reached = countCalls() >= nth;
        if (error.empty()) {
            expectMixed(path);
        } else {
            ++failures;
            EXPECT_THAT(error, HasSubstr("Input/output error"));
            EXPECT_TRUE(read(path) == original);
        }
        EXPECT_THAT(names(), ElementsAre("movie.mp4", "ordinary.mp4"));
        std::filesystem::remove(path);
    }
    // At least: the media, the index, the flush, the new place.
    EXPECT_GE(failures, 4);
}

TEST_F(RealMixDown, AProcessThatDiesLeavesTheOldMovieOrTheNewOne) {
    const auto ordinary = movie("ordinary.mp4");
    const auto original = read(ordinary);
    const auto path = (folder / "movie.mp4").string();
    int oldOnes = 0;
    int newOnes = 0;
    bool died = true;
    for (int nth = 1; died; ++nth) {
        SCOPED_TRACE(nth);
        ASSERT_LT(nth, mostCalls);
        std::filesystem::copy_file(ordinary, path);
        const auto child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            dieAtCall(nth);
            _exit(mixDown(path).empty() ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        died = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        if (!died) {
            EXPECT_EQ(status, 0);
        }
        if (read(path) == original) {
            ++oldOnes;
        } else {
            ++newOnes;
            expectMixed(path);
        }
        std::filesystem::remove(path);
    }
    EXPECT_GE(oldOnes, 4);
    // Before the folder is flushed, and at the end.
    EXPECT_GE(newOnes, 2);
}

}  // namespace
}  // namespace quorvane::postprocess
