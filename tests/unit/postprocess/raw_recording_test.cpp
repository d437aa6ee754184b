#include "postprocess/raw_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/platform_error.h"
#include "simulation/sim_files.h"

namespace quorvane::postprocess {
namespace {

using simulation::FaultPlan;
using simulation::SimFile;
using simulation::SimFiles;
using testing::ElementsAre;
using testing::IsEmpty;

class RawRecording : public testing::Test {
  protected:
    RawRecording() { files.files["/movie.mp4"] = movie; }

    const SimFile movie{"recorded", 1, 2};
    FaultPlan faults;
    SimFiles files{faults};
};

TEST_F(RawRecording, WithoutAPathNothingIsDone) {
    preserveRawRecordingIfNeeded("/movie.mp4", std::nullopt, files);
    preserveRawRecordingIfNeeded("/movie.mp4", "", files);
    EXPECT_THAT(files.calls, IsEmpty());
}

TEST_F(RawRecording, MakesTheFolderRemovesWhatIsThereAndCopiesInThisOrder) {
    files.files["/raw/deep/copy.mp4"] = {"older", 1, 1};
    preserveRawRecordingIfNeeded("/movie.mp4", "/raw/deep/copy.mp4", files);
    EXPECT_THAT(files.calls, ElementsAre("create /raw/deep", "remove /raw/deep/copy.mp4",
                                         "copy /movie.mp4 /raw/deep/copy.mp4"));
    EXPECT_EQ(files.files.at("/raw/deep/copy.mp4"), movie);
    EXPECT_EQ(files.files.at("/movie.mp4"), movie);
}

TEST_F(RawRecording, AMissingOldCopyIsNoProblem) {
    preserveRawRecordingIfNeeded("/movie.mp4", "copy.mp4", files);
    EXPECT_THAT(files.calls,
                ElementsAre("create .", "remove copy.mp4", "copy /movie.mp4 copy.mp4"));
    EXPECT_EQ(files.files.at("copy.mp4"), movie);
}

TEST_F(RawRecording, FailuresOfTheFolderAndOfTheCopyAreThrownOfTheRemovalNot) {
    struct Row {
        const char* failing;
        bool throws;
    };
    for (const auto& row : {Row{"create", true}, Row{"remove", false}, Row{"copy", true}}) {
        SCOPED_TRACE(row.failing);
        files.failing = row.failing;
        if (row.throws) {
            EXPECT_THROW(preserveRawRecordingIfNeeded("/movie.mp4", "/raw.mp4", files),
                         platform::PlatformError);
        } else {
            EXPECT_NO_THROW(preserveRawRecordingIfNeeded("/movie.mp4", "/raw.mp4", files));
        }
    }
}

TEST_F(RawRecording, ThePathOfTheMovieItselfLosesItAndSaysSo) {
    EXPECT_THROW(preserveRawRecordingIfNeeded("/movie.mp4", "/movie.mp4", files),
                 platform::PlatformError);
    EXPECT_THAT(files.calls,
                ElementsAre("create /", "remove /movie.mp4", "copy /movie.mp4 /movie.mp4"));
    EXPECT_THAT(files.files, IsEmpty());
}

}  // namespace
}  // namespace quorvane::postprocess
