// Every call that changes the file while the movie is being finished fails: it is playable all the
// same. (What a killed process leaves at each of them is in movie_layout_test.cpp.)
#include <algorithm>
#include <cerrno>

#include <gtest/gtest.h>

#include "unit/libav/faulty_disk.h"
#include "unit/libav/movie_reader.h"
#include "unit/libav/movie_recording.h"

namespace quorvane::platform::libav {
namespace {

TEST(LibavMovieWriterFaults, LeaveAMovieWhereverTheDiskIsGone) {
    constexpr int pictureCount = 30;
    bool reached = true;
    for (int nth = 1; reached; ++nth) {
        SCOPED_TRACE(nth);
        ASSERT_LT(nth, 30);
        const TestFolder folder;
        Recording recording(folder.file("movie.mp4"), 64, 48, 0);
        for (int index = 0; index < pictureCount; ++index)
            ASSERT_TRUE(recording.picture(index * 100ms));
        // Until something is on the disk.
        const auto fragments = [&] {
            const auto types = boxTypes(recording.path);
            return std::ranges::count(types, "moof");
        };
        for (int wait = 0; wait < 2000 && fragments() == 0; ++wait)
            std::this_thread::sleep_for(1ms);
        failFromCall(nth, EIO);
        EXPECT_EQ(recording.finish(3s), 1);
        reached = countCalls() >= nth;
        if (!reached) {
            EXPECT_EQ(recording.lastStatus, MovieWriterStatus::completed);
        }
        if (nth == 1) {
            EXPECT_EQ(recording.lastStatus, MovieWriterStatus::failed);
        }
        const auto found = pictureTimes(recording.path).size();
        EXPECT_GE(found, recording.lastStatus == MovieWriterStatus::completed
                             ? static_cast<unsigned>(pictureCount)
                             : 1U);
        EXPECT_EQ(folder.count(), 1U);
    }
}

}  // namespace
}  // namespace quorvane::platform::libav
