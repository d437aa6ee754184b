// The health log of whole recordings.
#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::StreamOutputType;
using testing::HasSubstr;
using testing::IsEmpty;

const char* const path = "/logs/health.jsonl";

class HealthLog : public RecorderFixture {
  protected:
    static cli::RecordingRequest request() {
        auto request = screenRequest(true, true);
        request.healthPath = path;
        return request;
    }
    std::vector<std::string> lines() const { return sim.files.logLines(path); }
};

TEST_F(HealthLog, WithoutAPathThereIsNone) {
    record(screenRequest(true, true));
    sound(StreamOutputType::audio);
    EXPECT_THAT(sim.files.calls, IsEmpty());
}

TEST_F(HealthLog, BeginsWithTheRecorderItself) {
    make(request());
    ASSERT_EQ(lines().size(), 1U);
    EXPECT_THAT(lines()[0], HasSubstr("\"event\":\"started\""));
}

TEST_F(HealthLog, SeesEveryValidBufferAlsoThoseThatAreNotWritten) {
    start(request());
    sound(StreamOutputType::audio);  // before the first picture
    auto invalid = steadySound(sim.dispatch.clock().hostTime(), 0.5F);
    invalid->valid = false;
    sim.capture.deliver(invalid, StreamOutputType::microphone);
    sim.dispatch.settle();
    picture();
    sim.dispatch.advance(2s);
    sound(StreamOutputType::audio);
    ASSERT_EQ(lines().size(), 3U);
    EXPECT_THAT(lines()[1], HasSubstr("\"event\":\"first-audio-sample\""));
    EXPECT_THAT(lines()[2], HasSubstr("\"systemAudioSampleCount\":2"));
    EXPECT_THAT(lines()[2], HasSubstr("\"hasMicrophoneSamples\":false"));
    EXPECT_EQ(written(1).size(), 1U);
}

TEST_F(HealthLog, EndsWhenTheRecordingIsComplete) {
    record(request());
    sim.writers.finishAfter = 5s;
    recorder->stop();
    sim.dispatch.advance(4s);
    EXPECT_EQ(sim.files.openLogs, 1);
    sim.capture.stopped = false;
    sound(StreamOutputType::audio);  // too late to count
    sim.dispatch.advance(1s);
    ASSERT_EQ(lines().size(), 2U);
    EXPECT_THAT(lines()[1], HasSubstr("\"event\":\"finished\""));
    EXPECT_THAT(lines()[1], HasSubstr("\"elapsedMs\":5000"));
    EXPECT_THAT(lines()[1], HasSubstr("\"systemAudioSampleCount\":0"));
    EXPECT_THAT(written(1), IsEmpty());
    EXPECT_EQ(sim.files.openLogs, 0);
}

TEST_F(HealthLog, AFailedRecordingHasItsEnd) {
    record(request());
    sim.writers.completesAsFailed = true;
    recorder->stop();
    sim.dispatch.settle();
    EXPECT_THAT(lines().back(), HasSubstr("\"event\":\"finished\""));
}

TEST_F(HealthLog, AStartThatFailsLeavesTheLogWithoutAnEnd) {
    sim.content.content.displays.clear();
    make(request());
    const auto outcome = watch(sim.dispatch, recorder->start());
    sim.dispatch.settle();
    EXPECT_EQ(outcome->text(), "No recordable displays were found.");
    EXPECT_EQ(lines().size(), 1U);
}

TEST_F(HealthLog, ALogThatCannotBeOpenedDoesNotDisturbTheRecording) {
    sim.files.failing = "log";
    record(request());
    sound(StreamOutputType::audio);
    recorder->stop();
    sim.dispatch.settle();
    EXPECT_EQ(failureText(), "");
    EXPECT_EQ(sim.process.warnings.size(), 1U);
    EXPECT_EQ(written(1).size(), 1U);
}

}  // namespace
}  // namespace quorvane::simulation
