#include <map>

#include "cli/recorder_error.h"
#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::StreamOutputType;
using testing::ElementsAre;
using testing::IsEmpty;

class RecorderStart : public RecorderFixture {
  protected:
    std::shared_ptr<Outcome> startWith(cli::RecordingRequest request = screenRequest()) {
        make(std::move(request));
        return watch(sim.dispatch, recorder->start());
    }
};

TEST_F(RecorderStart, ConfiguresStreamAndWriterFromTheRequest) {
    auto request = screenRequest(true, true);
    request.region = {100, 50, 801, 601};
    start(request);
    EXPECT_THAT(sim.capture.outputs, ElementsAre(StreamOutputType::screen, StreamOutputType::audio,
                                                 StreamOutputType::microphone));
    const auto& configuration = sim.capture.configuration;
    EXPECT_EQ(configuration.sourceRect, (support::Rect{100, 50, 801, 601}));
    EXPECT_EQ(configuration.width, 800);
    EXPECT_EQ(configuration.height, 600);
    EXPECT_EQ(configuration.microphoneCaptureDeviceID, "mic-1");
    ASSERT_EQ(sim.writers.inputs.size(), 3U);
    const auto& video = sim.writers.inputs[0].videoSettings;
    EXPECT_EQ(video.width, 800);
    EXPECT_EQ(video.height, 600);
    EXPECT_EQ(video.averageBitRate, 6'000'000);
    EXPECT_EQ(video.expectedSourceFrameRate, 60);
    EXPECT_FALSE(video.allowFrameReordering);
    EXPECT_TRUE(video.expectsMediaDataInRealTime);
    for (const auto index : {1U, 2U}) {
        const auto& audio = sim.writers.inputs[index].audioSettings;
        EXPECT_EQ(audio.sampleRate, 48000);
        EXPECT_EQ(audio.channels, 2);
        EXPECT_EQ(audio.bitRate, 192000);
        EXPECT_TRUE(audio.expectsMediaDataInRealTime);
    }
    EXPECT_TRUE(sim.writers.optimized);
    EXPECT_EQ(sim.writers.path, "/movie.mp4");
    EXPECT_EQ(sim.writers.status, platform::MovieWriterStatus::unknown);
    EXPECT_THAT(sim.process.lines, IsEmpty());
}

TEST_F(RecorderStart, AsksForWindowsOnTheScreenTheDesktopsOwnIncluded) {
    start();
    EXPECT_EQ(sim.content.query,
              (SimContent::Query{.excludingDesktopWindows = false, .onScreenWindowsOnly = true}));
}

TEST_F(RecorderStart, AddsOutputsOnlyForChosenSources) {
    start(screenRequest(false, true));
    EXPECT_THAT(sim.capture.outputs,
                ElementsAre(StreamOutputType::screen, StreamOutputType::microphone));
    EXPECT_EQ(sim.writers.inputs.size(), 2U);
}

TEST_F(RecorderStart, FailsAfterFifteenSecondsWithoutConfirmation) {
    sim.capture.startScript.after.reset();
    const auto outcome = startWith();
    sim.dispatch.advance(15s - 1ns);
    EXPECT_FALSE(outcome->ended);
    sim.dispatch.advance(1ns);
    ASSERT_TRUE(outcome->ended);
    EXPECT_EQ(outcome->text(), "ScreenCaptureKit did not start recording in time.");
    EXPECT_EQ(outcome->at, 15s);
    EXPECT_FALSE(sim.writers.movieExists);
}

TEST_F(RecorderStart, ALateConfirmationChangesNothing) {
    for (const auto& error : {std::exception_ptr(), FaultPlan::error()}) {
        SimPlatform late;
        control::RecorderEvents lateEvents(late.process);
        late.capture.startScript = {20s, error};
        const auto slow = std::make_shared<capture::ScreenCaptureRecorder>(screenRequest(),
                                                                           late.ports, lateEvents);
        const auto outcome = watch(late.dispatch, slow->start());
        late.dispatch.advance(60s);
        ASSERT_TRUE(outcome->ended);
        EXPECT_EQ(outcome->text(), "ScreenCaptureKit did not start recording in time.");
        EXPECT_EQ(outcome->at, 15s);
    }
}

TEST_F(RecorderStart, AConfirmationInTheLastMomentCounts) {
    sim.capture.startScript.after = 15s - 1ns;
    const auto outcome = startWith();
    sim.dispatch.advance(60s);
    ASSERT_TRUE(outcome->ended);
    EXPECT_EQ(outcome->text(), "");
    EXPECT_EQ(outcome->at, 15s - 1ns);
}

// The stream's answer, good or bad, the deadline and perhaps a stop request at the same instant:
// whichever comes first by the order that the seed draws, the waiter is resumed once, by one of
// them, and a recorder that was stopped finishes.
TEST(RecorderStartRace, AnswerDeadlineAndStopResumeTheWaiterOnce) {
    std::map<std::string, int> outcomes;
    for (std::uint64_t seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE(seed);
        SimPlatform sim(seed);
        control::RecorderEvents events(sim.process);
        const bool fails = sim.dispatch.draw(2) == 1;
        const bool stops = sim.dispatch.draw(2) == 1;
        sim.capture.startScript = {15s, fails ? FaultPlan::error() : nullptr};
        const auto recorder =
            std::make_shared<capture::ScreenCaptureRecorder>(screenRequest(), sim.ports, events);
        const auto outcome = watch(sim.dispatch, recorder->start());
        const auto finished = watch(sim.dispatch, recorder->waitUntilFinished());
        if (stops)
            sim.dispatch.schedule(sim.dispatch.mainQueue(), 15s, [recorder] { recorder->stop(); });
        sim.dispatch.advance(20s);
        ASSERT_TRUE(outcome->ended);
        EXPECT_EQ(outcome->at, 15s);
        EXPECT_EQ(finished->ended, stops);
        EXPECT_EQ(sim.process.kinds(), std::vector<std::string>(stops ? 1 : 0, "finishing"));
        EXPECT_FALSE(sim.writers.movieExists);
        recorder->stop();
        sim.dispatch.advance(100s);
        EXPECT_TRUE(finished->ended);
        EXPECT_THAT(sim.process.kinds(), ElementsAre("finishing"));
        EXPECT_EQ(cli::localizedDescription(recorder->failure()), "No video frames were captured.");
        const auto answer = fails ? "the stream's error: " : "the stream's confirmation: ";
        ++outcomes[answer + outcome->text() + (stops ? " (stopped)" : "")];
    }
    constexpr auto late = "ScreenCaptureKit did not start recording in time.";
    for (const std::string stopped : {"", " (stopped)"}) {
        EXPECT_GT(outcomes["the stream's confirmation: " + stopped], 0);
        EXPECT_GT(outcomes["the stream's confirmation: " + (late + stopped)], 0);
        EXPECT_GT(outcomes["the stream's error: An injected fault." + stopped], 0);
        EXPECT_GT(outcomes["the stream's error: " + (late + stopped)], 0);
    }
    EXPECT_EQ(outcomes.size(), 8U);
}

TEST_F(RecorderStart, PlatformErrorsPassUnchanged) {
    struct Row {
        const char* name;
        std::function<void(SimPlatform&)> script;
        const char* text;
    };
    const auto injected = FaultPlan::error();
    const Row rows[] = {
        {"content", [&](SimPlatform& each) { each.content.error = injected; },
         "An injected fault."},
        {"stream start", [&](SimPlatform& each) { each.capture.startScript.error = injected; },
         "An injected fault."},
        {"no displays", [](SimPlatform& each) { each.content.content.displays.clear(); },
         "No recordable displays were found."},
        {"video refused", [](SimPlatform& each) { each.writers.refusesVideo = true; },
         "Could not configure video encoding for this recording size."},
        {"system audio refused", [](SimPlatform& each) { each.writers.refusesAudioFrom = 1; },
         "Could not configure system audio encoding."},
        {"microphone refused", [](SimPlatform& each) { each.writers.refusesAudioFrom = 2; },
         "Could not configure microphone encoding."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        SimPlatform each;
        control::RecorderEvents eachEvents(each.process);
        row.script(each);
        const auto starting = std::make_shared<capture::ScreenCaptureRecorder>(
            screenRequest(true, true), each.ports, eachEvents);
        const auto outcome = watch(each.dispatch, starting->start());
        each.dispatch.advance(1s);
        ASSERT_TRUE(outcome->ended);
        EXPECT_EQ(outcome->text(), row.text);
        EXPECT_FALSE(each.writers.movieExists);
        EXPECT_THAT(each.process.lines, IsEmpty());
    }
}

TEST_F(RecorderStart, StoppedBeforeThereIsAStreamItCompletesWithoutFailure) {
    make();
    recorder->stop();
    const auto waited = wait();
    sim.dispatch.settle();
    EXPECT_TRUE(waited->ended);
    EXPECT_EQ(failureText(), "");
    EXPECT_EQ(sim.capture.stops, 0);
    EXPECT_THAT(sim.process.kinds(), ElementsAre("finishing"));
}

TEST_F(RecorderStart, StoppedWhileTheStreamStartsItCapturesNothing) {
    sim.capture.startScript.after = 1s;
    const auto outcome = startWith();
    sim.dispatch.advance(500ms);
    recorder->stop();
    sim.dispatch.advance(1s);
    EXPECT_TRUE(outcome->ended);
    EXPECT_EQ(failureText(), "No video frames were captured.");
    EXPECT_FALSE(sim.writers.movieExists);
}

}  // namespace
}  // namespace quorvane::simulation
