#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::MovieWriterStatus;
using platform::StreamOutputType;
using testing::ElementsAre;

using RecorderFinish = RecorderFixture;

TEST_F(RecorderFinish, StoppingFinishesTheMovieOnce) {
    record(screenRequest(true, true));
    const auto waited = wait();
    sim.dispatch.settle();
    EXPECT_FALSE(waited->ended);
    recorder->stop();
    recorder->stop();
    sim.dispatch.settle();
    ASSERT_TRUE(waited->ended);
    EXPECT_EQ(failureText(), "");
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started", "finishing"));
    EXPECT_EQ(sim.capture.stops, 1);
    EXPECT_EQ(sim.writers.finishes, 1);
    EXPECT_EQ(sim.writers.status, MovieWriterStatus::completed);
    for (const auto& input : sim.writers.inputs)
        EXPECT_TRUE(input.finished) << input.name;
}

TEST_F(RecorderFinish, WaitingAfterTheEndReturnsAtOnce) {
    record();
    recorder->stop();
    sim.dispatch.settle();
    const auto waited = wait();
    sim.dispatch.settle();
    EXPECT_TRUE(waited->ended);
}

TEST_F(RecorderFinish, SamplesInTheQueueAreWrittenAndLateOnesIgnored) {
    record();
    sim.writers.finishAfter = 10ms;
    sim.capture.deliverPicture();
    recorder->stop();
    sim.dispatch.settle();
    EXPECT_EQ(written(0).size(), 2U);
    const auto late = std::make_shared<SimPicture>(sim.dispatch.clock().hostTime());
    sim.capture.stopped = false;
    sim.capture.deliver(late, StreamOutputType::screen);
    sim.dispatch.settle();
    EXPECT_EQ(written(0).size(), 2U);
    sim.dispatch.advance(1s);
    sim.capture.deliver(late, StreamOutputType::screen);
    sim.dispatch.settle();
    EXPECT_EQ(written(0).size(), 2U);
}

TEST_F(RecorderFinish, StoppingBeforeTheFirstPictureLeavesNoMovie) {
    start(screenRequest(true));
    sound(StreamOutputType::audio);
    recorder->stop();
    sim.dispatch.settle();
    EXPECT_EQ(failureText(), "No video frames were captured.");
    EXPECT_FALSE(sim.writers.movieExists);
    EXPECT_EQ(sim.writers.cancels, 1);
    EXPECT_EQ(sim.writers.finishes, 0);
}

TEST_F(RecorderFinish, FailsNinetySecondsAfterStopWhenTheWriterNeverFinishes) {
    record();
    sim.writers.finishAfter.reset();
    const auto waited = wait();
    sim.dispatch.advance(5s);
    recorder->stop();
    sim.dispatch.advance(90s - 1ns);
    EXPECT_FALSE(waited->ended);
    sim.dispatch.advance(1ns);
    ASSERT_TRUE(waited->ended);
    EXPECT_EQ(waited->at, 95s);
    EXPECT_EQ(failureText(), "Timed out finalizing the recording.");
}

TEST_F(RecorderFinish, TheTimeoutReplacesAnEarlierFailure) {
    record();
    sim.writers.appendFails = true;
    sim.capture.stopScript.after.reset();
    picture();
    EXPECT_EQ(failureText(), "An injected fault.");
    sim.dispatch.advance(90s);
    EXPECT_EQ(failureText(), "Timed out finalizing the recording.");
}

TEST_F(RecorderFinish, AFinishInTimeDisarmsTheTimeout) {
    record();
    sim.writers.finishAfter = 89s;
    recorder->stop();
    sim.dispatch.advance(300s);
    EXPECT_EQ(failureText(), "");
}

TEST_F(RecorderFinish, ALateFinishChangesNothing) {
    record();
    sim.writers.finishAfter = 100s;
    recorder->stop();
    sim.dispatch.advance(300s);
    EXPECT_EQ(failureText(), "Timed out finalizing the recording.");
}

TEST_F(RecorderFinish, AStreamThatCannotStopStillFinishesTheMovie) {
    record();
    sim.capture.stopScript.error = FaultPlan::error();
    recorder->stop();
    sim.dispatch.settle();
    EXPECT_EQ(failureText(), "An injected fault.");
    EXPECT_EQ(sim.writers.status, MovieWriterStatus::completed);
}

TEST_F(RecorderFinish, AWriterThatFailsToFinishGivesItsErrorOrOurs) {
    for (const bool hasErrors : {true, false}) {
        SCOPED_TRACE(hasErrors);
        SimPlatform each;
        control::RecorderEvents eachEvents(each.process);
        const auto failing = std::make_shared<capture::ScreenCaptureRecorder>(
            screenRequest(), each.ports, eachEvents);
        const auto started = watch(each.dispatch, failing->start());
        each.dispatch.settle();
        each.capture.deliverPicture();
        each.dispatch.settle();
        each.writers.completesAsFailed = true;
        each.writers.hasErrors = hasErrors;
        failing->stop();
        each.dispatch.settle();
        EXPECT_EQ(cli::localizedDescription(failing->failure()),
                  hasErrors ? "An injected fault." : "Could not finalize the recording.");
    }
}

TEST_F(RecorderFinish, AStreamThatStopsByItselfWarnsAndKeepsTheMovie) {
    record();
    const auto waited = wait();
    sim.capture.endWithError(FaultPlan::error());
    sim.dispatch.settle();
    ASSERT_TRUE(waited->ended);
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started", "warning", "finishing"));
    EXPECT_EQ(sim.process.lines[1].text,
              "{\"kind\":\"warning\",\"error\":\"An injected fault.\"}\n");
    EXPECT_EQ(failureText(), "An injected fault.");
    EXPECT_EQ(sim.writers.status, MovieWriterStatus::completed);
}

TEST_F(RecorderFinish, AStopAfterTheStreamStoppedByItselfSendsFinishingAgain) {
    record();
    sim.writers.finishAfter = 1s;
    sim.capture.endWithError(FaultPlan::error());
    sim.dispatch.settle();
    recorder->stop();
    sim.dispatch.advance(2s);
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started", "warning", "finishing", "finishing"));
    EXPECT_EQ(sim.capture.stops, 1);
    EXPECT_EQ(sim.writers.finishes, 1);
    EXPECT_EQ(failureText(), "An injected fault.");
}

TEST_F(RecorderFinish, AFailureIsFrozenOnceFinished) {
    record();
    recorder->stop();
    sim.dispatch.settle();
    recorder->didStopWithError(FaultPlan::error());
    sim.dispatch.settle();
    EXPECT_EQ(failureText(), "");
}

TEST_F(RecorderFinish, CallbacksAfterTheRecorderIsGoneDoNothing) {
    record(screenRequest(true));
    sim.writers.finishAfter = 1s;
    recorder->stop();
    recorder->applyAudioCommand({"late", control::RecordedAudioSource::system, false});
    recorder.reset();
    sim.dispatch.advance(100s);
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started", "finishing"));
}

// Stop, a stream that ends by itself, a failing append and the 90 s limit, all around one instant.
TEST(RecorderFinishRace, EveryScheduleCompletesOnceWithinTheLimit) {
    for (std::uint64_t seed = 1; seed <= 2000; ++seed) {
        SCOPED_TRACE(seed);
        SimPlatform sim(seed);
        control::RecorderEvents events(sim.process);
        const auto recorder = std::make_shared<capture::ScreenCaptureRecorder>(screenRequest(true),
                                                                               sim.ports, events);
        const auto started = watch(sim.dispatch, recorder->start());
        sim.dispatch.settle();
        sim.capture.deliverPicture();
        sim.dispatch.settle();
        const auto waited = watch(sim.dispatch, recorder->waitUntilFinished());
        const auto odds = [&] { return sim.dispatch.draw(2) == 0; };
        if (odds()) sim.writers.finishAfter = 90s;
        if (odds()) sim.writers.finishAfter.reset();
        if (odds()) sim.capture.stopScript.after = 90s;
        sim.writers.completesAsFailed = odds();
        sim.writers.appendFails = odds();
        sim.capture.deliverPicture();
        sim.capture.deliverSound(platform::StreamOutputType::audio, 0.5F);
        if (odds()) sim.capture.endWithError(FaultPlan::error());
        sim.dispatch.mainQueue().post([&] { recorder->stop(); });
        sim.dispatch.globalQueue().post([&] { recorder->stop(); });
        sim.dispatch.advance(400s);
        ASSERT_TRUE(waited->ended);
        EXPECT_LE(waited->at, 90s);
        EXPECT_LE(sim.writers.finishes, 1);
        EXPECT_EQ(sim.capture.stops, 1);
        EXPECT_TRUE(recorder->failure() || sim.writers.status == MovieWriterStatus::completed);
    }
}

}  // namespace
}  // namespace quorvane::simulation
