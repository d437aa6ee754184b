#include "health/recording_health_telemetry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulation/sim_platform.h"

namespace quorvane::health {
namespace {

using namespace std::chrono_literals;
using simulation::SimPlatform;
using simulation::SimSound;
using support::MediaTime;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const char* const path = "/logs/deep/health.jsonl";

class RecordingHealthTelemetryTest : public testing::Test {
  protected:
    std::unique_ptr<RecordingHealthTelemetry> open(bool system = true, bool microphone = true) {
        return RecordingHealthTelemetry::open(path, system, microphone, services);
    }
    std::vector<std::string> lines() const { return sim.files.logLines(path); }
    // "event source" of each line, or the event alone.
    std::vector<std::string> story() const {
        std::vector<std::string> result;
        const auto value = [](const std::string& line, const std::string& name) -> std::string {
            const auto begin = line.find("\"" + name + "\":\"");
            if (begin == std::string::npos) return "";
            const auto from = begin + name.size() + 4;
            return line.substr(from, line.find('"', from) - from);
        };
        for (const auto& line : lines()) {
            const auto source = value(line, "source");
            result.push_back(value(line, "event") + (source.empty() ? "" : " " + source));
        }
        return result;
    }
    void advance(std::chrono::nanoseconds time) { sim.dispatch.advance(time); }

    SimPlatform sim;
    const RecordingHealthTelemetry::Services services{sim.dispatch.clock(), sim.files, sim.process};
    SimSound sound;
};

TEST_F(RecordingHealthTelemetryTest, WithoutAPathThereIsNoLogAndNoMessage) {
    for (const auto& none : {std::optional<std::string>(), std::optional<std::string>("")})
        EXPECT_EQ(RecordingHealthTelemetry::open(none, true, true, services), nullptr);
    EXPECT_THAT(sim.files.calls, IsEmpty());
    EXPECT_THAT(sim.process.warnings, IsEmpty());
}

TEST_F(RecordingHealthTelemetryTest, TheFoldersAreMadeAndAnOldLogIsEmptied) {
    sim.files.files[path].content = "old\n";
    const auto telemetry = open();
    EXPECT_THAT(sim.files.calls, ElementsAre("create /logs/deep", std::string("log ") + path));
    EXPECT_THAT(story(), ElementsAre("started"));
}

TEST_F(RecordingHealthTelemetryTest, WritesItsLinesToTheByte) {
    const auto telemetry = open();
    advance(1500ms + 400us);
    sound.time = MediaTime(18001500ms + 500us);
    telemetry->recordAudioSample("system", sound);
    advance(1ms);
    sound.time = std::nullopt;
    telemetry->recordAudioSample("microphone", sound);
    advance(500ms - 400us);
    telemetry->finish();
    EXPECT_EQ(sim.files.files.at(path).content,
              R"({"elapsedMs":0,"event":"started","hasMicrophoneSamples":false,)"
              R"("hasSystemAudioSamples":false,"microphoneEnabled":true,)"
              R"("microphoneSampleCount":0,"systemAudioEnabled":true,"systemAudioSampleCount":0,)"
              R"("timestamp":"2027-01-15T08:00:00Z","type":"recorder-health"})"
              "\n"
              R"({"elapsedMs":1500,"event":"first-audio-sample","hasMicrophoneSamples":false,)"
              R"("hasSystemAudioSamples":true,"lastSystemAudioSampleElapsedMs":1500,)"
              R"("microphoneEnabled":true,"microphoneSampleCount":0,"samplePtsMs":18001501,)"
              R"("source":"system","systemAudioEnabled":true,"systemAudioSampleCount":1,)"
              R"("timestamp":"2027-01-15T08:00:01Z","type":"recorder-health"})"
              "\n"
              R"({"elapsedMs":1501,"event":"first-audio-sample","hasMicrophoneSamples":true,)"
              R"("hasSystemAudioSamples":true,"lastMicrophoneSampleElapsedMs":1501,)"
              R"("lastSystemAudioSampleElapsedMs":1500,"microphoneEnabled":true,)"
              R"("microphoneSampleCount":1,"source":"microphone","systemAudioEnabled":true,)"
              R"("systemAudioSampleCount":1,"timestamp":"2027-01-15T08:00:01Z",)"
              R"("type":"recorder-health"})"
              "\n"
              R"({"elapsedMs":2001,"event":"finished","hasMicrophoneSamples":true,)"
              R"("hasSystemAudioSamples":true,"lastMicrophoneSampleElapsedMs":1501,)"
              R"("lastSystemAudioSampleElapsedMs":1500,"microphoneEnabled":true,)"
              R"("microphoneSampleCount":1,"systemAudioEnabled":true,"systemAudioSampleCount":1,)"
              R"("timestamp":"2027-01-15T08:00:02Z","type":"recorder-health"})"
              "\n");
}

TEST_F(RecordingHealthTelemetryTest, SampleTimesAreRoundedHalvesAwayFromZero) {
    struct Row {
        std::chrono::nanoseconds time;
        const char* text;
    };
    const Row rows[] = {{0ns, "\"samplePtsMs\":0,"},          {499'999ns, "\"samplePtsMs\":0,"},
                        {500'000ns, "\"samplePtsMs\":1,"},    {1'499'999ns, "\"samplePtsMs\":1,"},
                        {-499'999ns, "\"samplePtsMs\":0,"},   {-500'000ns, "\"samplePtsMs\":-1,"},
                        {-1'500'000ns, "\"samplePtsMs\":-2,"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.time.count());
        const auto telemetry = open();
        sound.time = MediaTime(row.time);
        telemetry->recordAudioSample("system", sound);
        EXPECT_THAT(lines().back(), HasSubstr(row.text));
    }
}

TEST_F(RecordingHealthTelemetryTest, OneLineASourceInTwoSeconds) {
    struct Row {
        const char* name;
        std::vector<std::chrono::milliseconds> samples;  // since the log was opened
        std::size_t written;
    };
    const Row rows[] = {
        {"1999 ms apart", {10ms, 2009ms}, 1},
        {"2000 ms apart", {10ms, 2010ms}, 2},
        {"counted from the line before, not from the first", {0ms, 3000ms, 4999ms, 5000ms}, 3},
        {"a late first one counts for itself", {1999ms, 2000ms, 3998ms, 3999ms}, 2},
        {"every 10 ms for 4 s",
         [] {
             std::vector<std::chrono::milliseconds> samples;
             for (int number = 0; number <= 400; ++number)
                 samples.emplace_back(number * 10);
             return samples;
         }(),
         3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        for (const char* source : {"system", "microphone"}) {
            const auto telemetry = open();
            const auto begin = sim.dispatch.elapsed();
            for (const auto& each : row.samples) {
                advance(begin + each - sim.dispatch.elapsed());
                telemetry->recordAudioSample(source, sound);
            }
            EXPECT_EQ(lines().size(), 1 + row.written) << source;
        }
    }
}

TEST_F(RecordingHealthTelemetryTest, SourcesAreThrottledApart) {
    const auto telemetry = open();
    telemetry->recordAudioSample("system", sound);
    advance(1ms);
    telemetry->recordAudioSample("microphone", sound);
    telemetry->recordAudioSample("microphone", sound);
    advance(1999ms);
    telemetry->recordAudioSample("microphone", sound);
    telemetry->recordAudioSample("system", sound);
    EXPECT_THAT(story(), ElementsAre("started", "first-audio-sample system",
                                     "first-audio-sample microphone", "audio-sample system"));
    // What the throttle kept back shows in the next line of either source.
    EXPECT_THAT(lines().back(), HasSubstr("\"microphoneSampleCount\":3"));
    EXPECT_THAT(lines().back(), HasSubstr("\"lastMicrophoneSampleElapsedMs\":2000"));
}

TEST_F(RecordingHealthTelemetryTest, AnUnknownSourceCountsNothing) {
    const auto telemetry = open();
    telemetry->recordAudioSample("camera", sound);
    telemetry->finish();
    EXPECT_THAT(story(), ElementsAre("started", "finished"));
    EXPECT_THAT(lines().back(), HasSubstr("\"systemAudioSampleCount\":0"));
}

TEST_F(RecordingHealthTelemetryTest, AMicrophoneAloneTellsNothingOfTheSystem) {
    const auto telemetry = open(false, true);
    for (int number = 0; number < 5; ++number) {
        telemetry->recordAudioSample("microphone", sound);
        advance(1s);
    }
    telemetry->finish();
    EXPECT_THAT(story(),
                ElementsAre("started", "first-audio-sample microphone", "audio-sample microphone",
                            "audio-sample microphone", "finished"));
    for (const auto& line : lines()) {
        EXPECT_THAT(line, HasSubstr("\"systemAudioEnabled\":false"));
        EXPECT_THAT(line, HasSubstr("\"hasSystemAudioSamples\":false"));
        EXPECT_EQ(line.find("lastSystemAudioSampleElapsedMs"), std::string::npos);
    }
}

TEST_F(RecordingHealthTelemetryTest, NothingFollowsFinished) {
    const auto telemetry = open();
    telemetry->finish();
    EXPECT_EQ(sim.files.openLogs, 0);
    telemetry->finish();
    telemetry->recordAudioSample("system", sound);
    EXPECT_THAT(story(), ElementsAre("started", "finished"));
}

TEST_F(RecordingHealthTelemetryTest, SettingTheSystemsTimeChangesOnlyTheTimestamps) {
    const auto telemetry = open();
    sim.dispatch.stepWallClock(-1h);
    advance(10ms);
    telemetry->recordAudioSample("system", sound);
    EXPECT_THAT(lines().back(), HasSubstr("\"elapsedMs\":10,"));
    EXPECT_THAT(lines().back(), HasSubstr("\"timestamp\":\"2027-01-15T07:00:00Z\""));
}

TEST_F(RecordingHealthTelemetryTest, AFileThatCannotBeOpenedCostsOneWarning) {
    for (const char* failing : {"create", "log"}) {
        SCOPED_TRACE(failing);
        sim.process.warnings.clear();
        sim.files.failing = failing;
        EXPECT_EQ(open(), nullptr);
        ASSERT_EQ(sim.process.warnings.size(), 1U);
        const auto& warning = sim.process.warnings.front();
        EXPECT_EQ(warning.find("Warning: could not open recorder health file at "
                               "/logs/deep/health.jsonl: Could not "),
                  0U);
        EXPECT_EQ(warning.find('\n'), warning.size() - 1);
    }
}

}  // namespace
}  // namespace quorvane::health
