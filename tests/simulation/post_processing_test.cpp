// What a run does with its movie once it has been recorded.
#include "session/record.h"
#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::Signal;
using testing::ElementsAre;
using testing::IsEmpty;

const SimFile recorded{"recorded", 1, 2};
const SimFile mixed{"mixed", 1, 1};

class PostProcessing : public testing::Test {
  protected:
    void TearDown() override {
        sim.process.endParent();
        sim.dispatch.advance(200s);
    }
    std::shared_ptr<Outcome> recording(bool systemAudio = true, bool microphone = true) {
        auto request = screenRequest(systemAudio, microphone);
        request.rawOutputPath = "/raw/movie.mp4";
        auto outcome = watch(sim.dispatch, session::record(std::move(request), sim.ports, events));
        sim.dispatch.settle();
        sim.capture.deliverPicture();
        sim.dispatch.settle();
        return outcome;
    }
    void stop() {
        sim.process.raise(Signal::interrupt);
        sim.dispatch.settle();
    }

    SimPlatform sim;
    control::RecorderEvents events{sim.process};
};

TEST_F(PostProcessing, TheRawCopyIsTakenBeforeProcessingAndTheMixDownAfterIt) {
    sim.exports.takes = 3s;
    const auto outcome = recording();
    stop();
    EXPECT_FALSE(outcome->ended);
    EXPECT_EQ(sim.files.files.at("/raw/movie.mp4"), recorded);
    EXPECT_EQ(sim.files.files.at("/movie.mp4"), recorded);
    sim.dispatch.advance(10s);
    ASSERT_TRUE(outcome->ended);
    EXPECT_EQ(outcome->text(), "");
    EXPECT_THAT(sim.process.kinds(),
                ElementsAre("started", "finishing", "processing", "heartbeat", "heartbeat"));
    EXPECT_EQ(sim.files.files.at("/raw/movie.mp4"), recorded);
    EXPECT_EQ(sim.files.files.at("/movie.mp4"), mixed);
    EXPECT_EQ(sim.files.files.size(), 2U);
}

TEST_F(PostProcessing, OneAudioTrackEndsWithoutAHeartbeat) {
    const auto outcome = recording(true, false);
    stop();
    ASSERT_TRUE(outcome->ended);
    EXPECT_EQ(outcome->text(), "");
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started", "finishing", "processing"));
    EXPECT_EQ(sim.files.files.at("/movie.mp4"), (SimFile{"recorded", 1, 1}));
    EXPECT_EQ(sim.files.files.at("/raw/movie.mp4"), (SimFile{"recorded", 1, 1}));
}

TEST_F(PostProcessing, AFailedRawCopyEndsTheRunBeforeProcessing) {
    const auto outcome = recording();
    sim.files.failing = "copy";
    stop();
    ASSERT_TRUE(outcome->ended);
    EXPECT_EQ(outcome->text().find("Could not copy"), 0U);
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started", "finishing"));
    EXPECT_EQ(sim.files.files.at("/movie.mp4"), recorded);
}

TEST_F(PostProcessing, AFailedRecordingIsNeitherCopiedNorMixed) {
    const auto outcome = recording();
    sim.writers.completesAsFailed = true;
    stop();
    sim.dispatch.advance(10s);
    EXPECT_EQ(outcome->text(), "An injected fault.");
    EXPECT_THAT(sim.files.calls, IsEmpty());
    EXPECT_EQ(sim.exports.exports, 0);
}

TEST_F(PostProcessing, SignalsChangeNothingAnyMore) {
    sim.exports.takes = 5s;
    const auto outcome = recording();
    stop();
    sim.process.raise(Signal::terminate);
    sim.process.raise(Signal::interrupt);
    sim.process.endParent();
    sim.dispatch.advance(10s);
    ASSERT_TRUE(outcome->ended);
    EXPECT_EQ(outcome->text(), "");
    EXPECT_EQ(sim.files.files.at("/movie.mp4"), mixed);
    const auto kinds = sim.process.kinds();
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), "finishing"), 1);
}

TEST_F(PostProcessing, AFailedExportLeavesTheRecordedMovieAndFailsTheRun) {
    const auto outcome = recording();
    sim.exports.endsAs = platform::ExportStatus::failed;
    sim.exports.error = FaultPlan::error();
    stop();
    sim.dispatch.advance(10s);
    ASSERT_TRUE(outcome->ended);
    EXPECT_EQ(outcome->text(), "An injected fault.");
    EXPECT_EQ(sim.files.files.at("/movie.mp4"), recorded);
    EXPECT_THAT(sim.files.pathsWith("-mixed-"), IsEmpty());
}

}  // namespace
}  // namespace quorvane::simulation
