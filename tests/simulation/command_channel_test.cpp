#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class CommandChannel : public RecorderFixture {
  protected:
    void input(const std::string& text) {
        sim.process.sendInput(text);
        sim.dispatch.settle();
    }
};

const std::string muteSystem = R"({"id":"1","source":"system","enabled":false})";

TEST_F(CommandChannel, ACommandSplitOverTwoReadsIsOneCommand) {
    record(screenRequest(true));
    input(muteSystem.substr(0, 14));
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started"));
    input(muteSystem.substr(14) + "\n");
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started", "audioState"));
}

TEST_F(CommandChannel, LinesThatDoNotDecodeGetNoAnswer) {
    record(screenRequest(true));
    input("\n\nnonsense\n{\"id\":\"1\"}\n[]\n" + std::string(16385, ' ') + muteSystem + "\n");
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started"));
    input(muteSystem + "\r\n");
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started", "audioState"));
}

TEST_F(CommandChannel, AnUnterminatedCommandAtTheEndOfTheInputIsDropped) {
    record(screenRequest(true));
    input(muteSystem);
    input("");
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started"));
}

TEST_F(CommandChannel, CommandsAreReadOnlyOnceTheCaptureRuns) {
    make(screenRequest(true));
    sim.capture.startScript.after = 1s;
    const auto outcome = watch(sim.dispatch, recorder->start());
    sim.dispatch.settle();
    input(muteSystem + "\n");
    EXPECT_THAT(sim.process.lines, IsEmpty());
}

TEST_F(CommandChannel, OnlyLinesThatRepeatAreNotWaitedFor) {
    record(screenRequest(true));
    sound(platform::StreamOutputType::audio);
    input(muteSystem + "\n");
    recorder->stop();
    ASSERT_THAT(sim.process.kinds(), ElementsAre("started", "levels", "audioState", "finishing"));
    std::vector<std::chrono::milliseconds> patience;
    for (const auto& line : sim.process.lines)
        patience.push_back(line.patience);
    EXPECT_THAT(patience, ElementsAre(1000ms, 0ms, 1000ms, 1000ms));
}

}  // namespace
}  // namespace quorvane::simulation
