#include <algorithm>

#include <nlohmann/json.hpp>

#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::StreamOutputType;
using testing::ElementsAre;
using testing::IsEmpty;

class RecorderAudio : public RecorderFixture {
  protected:
    void command(const std::string& id, const std::string& source, bool enabled) {
        sim.process.sendInput("{\"id\":\"" + id + "\",\"source\":\"" + source +
                              "\",\"enabled\":" + (enabled ? "true" : "false") + "}\n");
        sim.dispatch.settle();
    }
    std::string lastLine() const { return sim.process.lines.back().text; }
    std::vector<nlohmann::json> levels() const {
        std::vector<nlohmann::json> found;
        for (const auto& line : sim.process.lines) {
            auto event = nlohmann::json::parse(line.text);
            if (event["kind"] == "levels") found.push_back(std::move(event));
        }
        return found;
    }
    static bool isSilent(const platform::SampleBufferPtr& sample) {
        return std::all_of(sample->data().begin(), sample->data().end(),
                           [](std::byte byte) { return byte == std::byte{0}; });
    }
};

TEST_F(RecorderAudio, SoundBeforeTheFirstPictureIsNotWritten) {
    start(screenRequest(true, true));
    sound(StreamOutputType::audio);
    sound(StreamOutputType::microphone);
    EXPECT_THAT(written(1), IsEmpty());
    EXPECT_THAT(written(2), IsEmpty());
    EXPECT_THAT(sim.process.lines, IsEmpty());
    picture();
    sound(StreamOutputType::audio);
    sound(StreamOutputType::microphone);
    EXPECT_EQ(written(1).size(), 1U);
    EXPECT_EQ(written(2).size(), 1U);
}

TEST_F(RecorderAudio, SoundFromBeforeTheSessionIsDropped) {
    record(screenRequest(true));
    const auto start = *sim.writers.sessionStart;
    sim.capture.deliver(steadySound(start - 1ns, 0.5F), StreamOutputType::audio);
    sim.dispatch.settle();
    EXPECT_THAT(written(1), IsEmpty());
    sim.capture.deliver(steadySound(start, 0.5F), StreamOutputType::audio);
    sim.dispatch.settle();
    EXPECT_EQ(written(1).size(), 1U);
}

TEST_F(RecorderAudio, SoundWithoutATimeOrRoomIsDropped) {
    record(screenRequest(true));
    sim.capture.deliver(steadySound(std::nullopt, 0.5F), StreamOutputType::audio);
    sim.writers.inputs[1].ready = false;
    sound(StreamOutputType::audio);
    EXPECT_THAT(written(1), IsEmpty());
    EXPECT_THAT(levels(), IsEmpty());
}

TEST_F(RecorderAudio, MutedSoundIsWrittenAsSilenceOfTheSameLengthAndTime) {
    record(screenRequest(false, true));
    command("m", "microphone", false);
    sound(StreamOutputType::microphone, 0.5F);
    command("u", "microphone", true);
    sound(StreamOutputType::microphone, 0.5F);
    ASSERT_EQ(written(1).size(), 2U);
    EXPECT_TRUE(isSilent(written(1)[0]));
    EXPECT_EQ(written(1)[0]->sampleCount(), 480);
    EXPECT_EQ(written(1)[0]->data().size(), 480U * 8);
    EXPECT_TRUE(written(1)[0]->presentationTime().has_value());
    EXPECT_FALSE(isSilent(written(1)[1]));
}

TEST_F(RecorderAudio, AMicrophoneMutedFromTheStartIsSilentThroughout) {
    start(screenRequest(false, true));
    command("m", "microphone", false);
    picture();
    for (int index = 0; index < 5; ++index)
        sound(StreamOutputType::microphone, 0.9F);
    ASSERT_EQ(written(1).size(), 5U);
    for (const auto& sample : written(1))
        EXPECT_TRUE(isSilent(sample));
}

TEST_F(RecorderAudio, EveryCommandIsAnsweredWithTheStateAfterIt) {
    record(screenRequest(true, false));
    command("c-7", "system", false);
    EXPECT_EQ(lastLine(),
              "{\"kind\":\"audioState\",\"microphoneEnabled\":false,\"systemEnabled\":false,"
              "\"commandID\":\"c-7\"}\n");
    command("", "system", true);
    EXPECT_EQ(lastLine(),
              "{\"kind\":\"audioState\",\"microphoneEnabled\":false,\"systemEnabled\":true,"
              "\"commandID\":\"\"}\n");
    command("x", "microphone", true);
    EXPECT_EQ(
        lastLine(),
        "{\"kind\":\"audioState\",\"microphoneEnabled\":false,\"systemEnabled\":true,"
        "\"commandID\":\"x\",\"error\":\"Choose this input before starting a recording.\"}\n");
}

TEST_F(RecorderAudio, ASourceThatWasNotChosenCannotBeMutedEither) {
    record(screenRequest(false, true));
    command("y", "system", false);
    EXPECT_EQ(
        lastLine(),
        "{\"kind\":\"audioState\",\"microphoneEnabled\":true,\"systemEnabled\":false,"
        "\"commandID\":\"y\",\"error\":\"Choose this input before starting a recording.\"}\n");
}

TEST_F(RecorderAudio, ACommandAfterTheStopIsRefusedWithoutChangingTheState) {
    record(screenRequest(true));
    sim.writers.finishAfter.reset();
    recorder->stop();
    sim.dispatch.settle();
    command("late", "system", false);
    EXPECT_EQ(lastLine(),
              "{\"kind\":\"audioState\",\"microphoneEnabled\":false,\"systemEnabled\":true,"
              "\"commandID\":\"late\",\"error\":\"Choose this input before starting a "
              "recording.\"}\n");
}

TEST_F(RecorderAudio, SoundThatCannotBeSilencedStopsTheRecordingUnwritten) {
    struct Row {
        const char* name;
        std::function<void(SimSound&)> spoil;
    };
    const Row rows[] = {
        {"compressed", [](SimSound& sound) { sound.format->isLinearPcm = false; }},
        {"without a format", [](SimSound& sound) { sound.format.reset(); }},
        {"without data", [](SimSound& sound) { sound.bytes.clear(); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        SimPlatform each;
        control::RecorderEvents eachEvents(each.process);
        const auto muted = std::make_shared<capture::ScreenCaptureRecorder>(screenRequest(true),
                                                                            each.ports, eachEvents);
        const auto started = watch(each.dispatch, muted->start());
        each.dispatch.settle();
        each.capture.deliverPicture();
        each.process.sendInput("{\"id\":\"m\",\"source\":\"system\",\"enabled\":false}\n");
        each.dispatch.settle();
        auto sound = steadySound(each.dispatch.clock().hostTime(), 0.5F);
        row.spoil(*sound);
        each.capture.deliver(sound, StreamOutputType::audio);
        each.dispatch.settle();
        EXPECT_THAT(each.writers.inputs[1].samples, IsEmpty());
        EXPECT_EQ(cli::localizedDescription(muted->failure()),
                  "Could not mute the audio input safely.");
        EXPECT_EQ(each.capture.stops, 1);
        EXPECT_EQ(each.writers.finishes, 1);
    }
}

TEST_F(RecorderAudio, LevelsAreSentAtMostEveryTenthOfASecond) {
    record(screenRequest(true));
    sound(StreamOutputType::audio);
    sim.dispatch.advance(50ms);
    sound(StreamOutputType::audio);
    EXPECT_EQ(levels().size(), 1U);
    sim.dispatch.advance(50ms - 1ns);
    sound(StreamOutputType::audio);
    EXPECT_EQ(levels().size(), 1U);
    sim.dispatch.advance(1ns);
    sound(StreamOutputType::audio);
    EXPECT_EQ(levels().size(), 2U);
}

TEST_F(RecorderAudio, BothLevelsArePresentAndAStaleOneReadsZero) {
    record(screenRequest(true, true));
    sound(StreamOutputType::microphone, 0.1F);
    EXPECT_EQ(lastLine(), "{\"kind\":\"levels\",\"microphoneLevel\":0.35,\"systemLevel\":0}\n");
    sim.dispatch.advance(1s - 1ns);
    sound(StreamOutputType::audio, 0.2F);
    EXPECT_EQ(lastLine(), "{\"kind\":\"levels\",\"microphoneLevel\":0.35,\"systemLevel\":0.7}\n");
    sim.dispatch.advance(100ms);
    sound(StreamOutputType::audio, 0.2F);
    EXPECT_EQ(lastLine(), "{\"kind\":\"levels\",\"microphoneLevel\":0,\"systemLevel\":0.7}\n");
}

TEST_F(RecorderAudio, ALevelReadsZeroFromExactlyASecondOn) {
    record(screenRequest(true, true));
    sound(StreamOutputType::microphone, 0.1F);
    sim.dispatch.advance(1s);
    sound(StreamOutputType::audio, 0.2F);
    EXPECT_EQ(lastLine(), "{\"kind\":\"levels\",\"microphoneLevel\":0,\"systemLevel\":0.7}\n");
}

TEST_F(RecorderAudio, AMutedSourceKeepsItsMeterAtZero) {
    record(screenRequest(true));
    command("m", "system", false);
    sound(StreamOutputType::audio, 0.9F);
    EXPECT_EQ(lastLine(), "{\"kind\":\"levels\",\"microphoneLevel\":0,\"systemLevel\":0}\n");
}

TEST_F(RecorderAudio, SettingTheSystemsTimeBackDoesNotSilenceTheMeter) {
    record(screenRequest(true));
    sound(StreamOutputType::audio);
    sim.dispatch.stepWallClock(-1h);
    sim.dispatch.advance(100ms);
    sound(StreamOutputType::audio);
    EXPECT_EQ(levels().size(), 2U);
}

TEST_F(RecorderAudio, WithoutAnAudioSourceNoLevelsAreSent) {
    record();
    for (int index = 0; index < 100; ++index) {
        sim.dispatch.advance(16ms);
        picture();
    }
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started"));
}

}  // namespace
}  // namespace quorvane::simulation
