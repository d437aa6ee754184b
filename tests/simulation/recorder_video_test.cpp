#include <nlohmann/json.hpp>

#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::FrameStatus;
using platform::MovieWriterStatus;
using platform::SampleAttachments;
using platform::StreamOutputType;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using RecorderVideo = RecorderFixture;

TEST_F(RecorderVideo, TheFirstPictureStartsTheSessionAndAnnouncesItOnce) {
    start();
    const auto captured = sim.dispatch.clock().hostTime();
    sim.dispatch.advance(30ms);
    sim.capture.deliver(std::make_shared<SimPicture>(captured), StreamOutputType::screen);
    picture();
    ASSERT_THAT(sim.process.kinds(), ElementsAre("started"));
    // The wall clock is back-dated by the 30 ms between capture and writing.
    EXPECT_EQ(sim.process.lines[0].text, "{\"kind\":\"started\",\"wallClock\":1800000000}\n");
    EXPECT_EQ(sim.writers.sessionStart, captured);
    EXPECT_EQ(written(0).size(), 2U);
}

TEST_F(RecorderVideo, APictureFromTheFutureIsNotForwardDated) {
    start();
    sim.capture.deliver(std::make_shared<SimPicture>(sim.dispatch.clock().hostTime() + 1h),
                        StreamOutputType::screen);
    sim.dispatch.settle();
    EXPECT_EQ(sim.process.lines.at(0).text, "{\"kind\":\"started\",\"wallClock\":1800000000}\n");
}

TEST_F(RecorderVideo, OnlyANumericStatusOtherThanCompleteDropsAFrame) {
    struct Row {
        const char* name;
        std::vector<SampleAttachments> attachments;
        bool written;
    };
    const auto status = [](FrameStatus value) {
        return std::vector<SampleAttachments>{{static_cast<std::int64_t>(value)}};
    };
    const Row rows[] = {
        {"complete", status(FrameStatus::complete), true},
        {"idle", status(FrameStatus::idle), false},
        {"blank", status(FrameStatus::blank), false},
        {"suspended", status(FrameStatus::suspended), false},
        {"started", status(FrameStatus::started), false},
        {"stopped", status(FrameStatus::stopped), false},
        {"a code that we do not know", {{std::int64_t{99}}}, false},
        {"no attachments", {}, true},
        {"no status entry", {{}}, true},
        {"a status that is no number", {{std::string("idle")}}, true},
        {"only the first attachment counts", {{}, {std::int64_t{1}}}, true},
    };
    start();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto before = written(0).size();
        sim.capture.deliver(
            std::make_shared<SimPicture>(sim.dispatch.clock().hostTime(), row.attachments),
            StreamOutputType::screen);
        sim.dispatch.settle();
        EXPECT_EQ(written(0).size() - before, row.written ? 1U : 0U);
    }
}

TEST_F(RecorderVideo, FramesThatTheEncoderCannotTakeAreDroppedSilently) {
    record();
    sim.writers.inputs[0].ready = false;
    picture();
    picture();
    sim.writers.inputs[0].ready = true;
    picture();
    EXPECT_EQ(written(0).size(), 2U);
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started"));
}

TEST_F(RecorderVideo, TheStartIsAnnouncedEvenWhenALaterFrameIsTheFirstTaken) {
    start();
    sim.writers.inputs[0].ready = false;
    picture();
    EXPECT_THAT(sim.process.lines, IsEmpty());
    sim.writers.inputs[0].ready = true;
    picture();
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started"));
}

TEST_F(RecorderVideo, AWriterThatCannotStartEndsTheRecordingWithItsError) {
    struct Row {
        bool fails;
        bool hasError;
        const char* text;
    };
    for (const auto& row : {Row{true, true, "An injected fault."},
                            Row{true, false, "Could not finalize the recording."},
                            Row{false, false, "Could not start writing the recording."}}) {
        SCOPED_TRACE(row.text);
        SimPlatform each;
        control::RecorderEvents eachEvents(each.process);
        const auto failing = std::make_shared<capture::ScreenCaptureRecorder>(
            screenRequest(), each.ports, eachEvents);
        const auto started = watch(each.dispatch, failing->start());
        each.dispatch.settle();
        each.writers.startFails = row.fails;
        each.writers.startDeclines = !row.fails;
        each.writers.hasErrors = row.hasError;
        each.capture.deliverPicture();
        const auto waited = watch(each.dispatch, failing->waitUntilFinished());
        each.dispatch.settle();
        ASSERT_TRUE(waited->ended);
        EXPECT_EQ(cli::localizedDescription(failing->failure()), row.text);
        EXPECT_EQ(each.writers.cancels, row.fails ? 0 : 1);
        EXPECT_THAT(each.process.kinds(), Not(Contains("started")));
    }
}

TEST_F(RecorderVideo, AFailedAppendStopsTheRecordingWithTheWritersError) {
    for (const bool hasError : {true, false}) {
        SCOPED_TRACE(hasError);
        SimPlatform each;
        control::RecorderEvents eachEvents(each.process);
        const auto failing = std::make_shared<capture::ScreenCaptureRecorder>(
            screenRequest(), each.ports, eachEvents);
        const auto started = watch(each.dispatch, failing->start());
        each.dispatch.settle();
        each.capture.deliverPicture();
        each.dispatch.settle();
        each.writers.appendFails = true;
        each.writers.hasErrors = hasError;
        each.capture.deliverPicture();
        each.dispatch.settle();
        EXPECT_EQ(each.capture.stops, 1);
        EXPECT_EQ(cli::localizedDescription(failing->failure()),
                  hasError ? "An injected fault." : "Could not finalize the recording.");
        EXPECT_THAT(each.process.kinds(), ElementsAre("started", "finishing"));
    }
}

TEST_F(RecorderVideo, TheAppendErrorItselfStandsUntilTheWriterIsAsked) {
    record();
    sim.capture.stopScript.after.reset();
    sim.writers.appendFails = true;
    sim.writers.hasErrors = false;
    picture();
    EXPECT_EQ(failureText(), "Could not append media to the recording.");
}

TEST_F(RecorderVideo, InvalidBuffersAreIgnored) {
    start(screenRequest(true));
    auto sound = steadySound(sim.dispatch.clock().hostTime(), 0.5F);
    sound->valid = false;
    sim.capture.deliver(sound, StreamOutputType::screen);
    sim.dispatch.settle();
    EXPECT_EQ(sim.writers.status, MovieWriterStatus::unknown);
}

}  // namespace
}  // namespace quorvane::simulation
