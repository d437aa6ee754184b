// Breaks every port call of a whole recording once, under many schedules.
#include <algorithm>

#include "session/record.h"
#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::StreamOutputType;

struct Run {
    bool fired = false;
    bool reachedEnd = false;
};

// One recording of two seconds with both sources, muted in between, whose nth port call fails.
Run recordWithFault(std::uint64_t seed, std::uint64_t nth) {
    SimPlatform sim(seed, FaultPlan(nth));
    control::RecorderEvents events(sim.process);
    auto request = screenRequest(true, true);
    request.rawOutputPath = "/raw/movie.mp4";
    request.healthPath = "/health.jsonl";
    const auto outcome =
        watch(sim.dispatch, session::record(std::move(request), sim.ports, events));
    bool muted = false;
    for (int tick = 0; tick < 20; ++tick) {
        sim.dispatch.advance(std::chrono::milliseconds(50 + sim.dispatch.draw(50)));
        sim.capture.deliverPicture();
        sim.capture.deliverSound(StreamOutputType::microphone, 0.5F);
        sim.capture.deliverSound(StreamOutputType::audio, 0.5F);
        if (tick == 10) {
            sim.dispatch.settle();
            sim.process.sendInput("{\"id\":\"m\",\"source\":\"microphone\",\"enabled\":false}\n");
            sim.dispatch.settle();
            muted = std::any_of(
                sim.process.lines.begin(), sim.process.lines.end(), [](const auto& line) {
                    return line.text.find("\"microphoneEnabled\":false") != std::string::npos;
                });
        }
    }
    sim.dispatch.settle();
    const auto beforeStop = sim.dispatch.elapsed();
    sim.process.raise(platform::Signal::terminate);
    sim.dispatch.advance(500s);

    EXPECT_TRUE(outcome->ended);
    EXPECT_LE(outcome->at - beforeStop, 90s);
    const auto kinds = sim.process.kinds();
    EXPECT_LE(std::count(kinds.begin(), kinds.end(), "started"), 1);
    if (!outcome->error) {
        EXPECT_EQ(sim.writers.status, platform::MovieWriterStatus::completed);
        EXPECT_EQ(std::count(kinds.begin(), kinds.end(), "processing"), 1);
        EXPECT_EQ(sim.files.files.at("/raw/movie.mp4"), (SimFile{"recorded", 1, 2}));
        // As it was recorded only if the export could not use any of its audio tracks.
        EXPECT_THAT(sim.files.files.at("/movie.mp4").content, testing::AnyOf("mixed", "recorded"));
    } else if (sim.files.files.contains("/movie.mp4")) {
        EXPECT_EQ(sim.files.files.at("/movie.mp4"), (SimFile{"recorded", 1, 2}));
    }
    if (!sim.files.removalFailed) {
        EXPECT_THAT(sim.files.pathsWith("-mixed-"), testing::IsEmpty());
    }
    EXPECT_EQ(sim.files.openLogs, 0);
    if (muted) {
        const auto& samples = sim.writers.inputs.at(2).samples;
        for (std::size_t index = 11; index < samples.size(); ++index) {
            const auto data = samples[index]->data();
            EXPECT_TRUE(std::all_of(data.begin(), data.end(),
                                    [](std::byte byte) { return byte == std::byte{0}; }));
        }
    }
    return {sim.faults.fired(), outcome->ended};
}

TEST(FaultSchedule, EveryCallThatFailsOnceEndsInOrder) {
    int runs = 0;
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        for (std::uint64_t nth = 1;; ++nth) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", call " + std::to_string(nth));
            const auto run = recordWithFault(seed, nth);
            ASSERT_TRUE(run.reachedEnd);
            ++runs;
            if (!run.fired) break;
        }
    }
    // A recording makes at least sixty calls that can fail.
    EXPECT_GT(runs, 1200);
}

}  // namespace
}  // namespace quorvane::simulation
