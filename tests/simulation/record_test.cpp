#include "session/record.h"

#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::Signal;
using testing::ElementsAre;
using testing::IsEmpty;

class Record : public testing::Test {
  protected:
    // Whatever a test left running ends, as in a process that exits.
    void TearDown() override {
        sim.process.endParent();
        sim.dispatch.advance(200s);
    }
    std::shared_ptr<Outcome> run(cli::RecordingRequest request = screenRequest()) {
        return watch(sim.dispatch, session::record(std::move(request), sim.ports, events));
    }
    // Running, with its first picture written.
    std::shared_ptr<Outcome> recording() {
        auto outcome = run();
        sim.dispatch.settle();
        sim.capture.deliverPicture();
        sim.dispatch.settle();
        return outcome;
    }

    SimPlatform sim;
    control::RecorderEvents events{sim.process};
};

TEST_F(Record, EverySortOfStopRequestFinishesTheMovie) {
    struct Row {
        const char* name;
        std::function<void(SimProcess&)> stop;
    };
    const Row rows[] = {
        {"SIGINT", [](SimProcess& process) { process.raise(Signal::interrupt); }},
        {"SIGTERM", [](SimProcess& process) { process.raise(Signal::terminate); }},
        {"the parent's end", [](SimProcess& process) { process.endParent(); }},
        {"all of them",
         [](SimProcess& process) {
             process.raise(Signal::interrupt);
             process.raise(Signal::terminate);
             process.endParent();
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        SimPlatform each;
        control::RecorderEvents eachEvents(each.process);
        const auto outcome =
            watch(each.dispatch, session::record(screenRequest(), each.ports, eachEvents));
        each.dispatch.settle();
        each.capture.deliverPicture();
        each.dispatch.settle();
        EXPECT_EQ(each.process.liveSources, 3);
        row.stop(each.process);
        each.dispatch.settle();
        ASSERT_TRUE(outcome->ended);
        EXPECT_EQ(outcome->text(), "");
        EXPECT_THAT(each.process.kinds(), ElementsAre("started", "finishing", "processing"));
        EXPECT_EQ(each.process.lines.back().text, "{\"kind\":\"processing\"}\n");
        EXPECT_EQ(each.process.liveSources, 0);
    }
}

TEST_F(Record, SignalsAreIgnoredInOrderBeforeAnythingElse) {
    int ignored = 0;
    sim.process.onIgnoreSignal = [&] {
        ++ignored;
        EXPECT_THAT(sim.files.calls, IsEmpty());
        EXPECT_EQ(sim.content.query, std::nullopt);
        EXPECT_EQ(sim.process.liveSources, 0);
    };
    auto request = screenRequest();
    request.healthPath = "/health/log.jsonl";
    const auto outcome = run(std::move(request));
    sim.dispatch.settle();
    EXPECT_EQ(ignored, 3);
    EXPECT_THAT(sim.process.ignored,
                ElementsAre(Signal::brokenPipe, Signal::interrupt, Signal::terminate));
    EXPECT_THAT(sim.files.calls, ElementsAre("create /health", "log /health/log.jsonl"));
    EXPECT_NE(sim.content.query, std::nullopt);
}

TEST_F(Record, TheSignalsSourcesAreCancelledInOrderAndThenTheParents) {
    const auto outcome = recording();
    EXPECT_THAT(sim.process.cancelled, IsEmpty());
    sim.process.raise(Signal::terminate);
    sim.dispatch.settle();
    ASSERT_TRUE(outcome->ended);
    EXPECT_THAT(sim.process.cancelled, ElementsAre("interrupt", "terminate", "parent"));
}

TEST_F(Record, AStartErrorEndsTheRunAtOnce) {
    sim.content.content.displays.clear();
    const auto outcome = run();
    sim.dispatch.settle();
    ASSERT_TRUE(outcome->ended);
    EXPECT_EQ(outcome->text(), "No recordable displays were found.");
    EXPECT_THAT(sim.process.lines, IsEmpty());
}

TEST_F(Record, AFailedRecordingIsNotProcessed) {
    const auto outcome = recording();
    sim.writers.completesAsFailed = true;
    sim.process.raise(Signal::interrupt);
    sim.dispatch.settle();
    ASSERT_TRUE(outcome->ended);
    EXPECT_EQ(outcome->text(), "An injected fault.");
    EXPECT_THAT(sim.process.kinds(), ElementsAre("started", "finishing"));
}

TEST_F(Record, StoppedBeforeThereIsAStreamTheMissingMovieIsTheErrorAndAnOlderCopyStays) {
    sim.content.error = nullptr;
    auto request = screenRequest();
    request.rawOutputPath = "/raw/movie.mp4";
    const auto outcome = run(std::move(request));
    // The signal comes while the content is being fetched.
    ASSERT_TRUE(sim.dispatch.advanceUntil([&] { return sim.process.liveSources == 3; }, 1s));
    sim.process.raise(Signal::terminate);
    ASSERT_TRUE(sim.dispatch.advanceUntil([&] { return !sim.process.lines.empty(); }, 1s));
    sim.dispatch.advance(1s);
    ASSERT_TRUE(outcome->ended);
    EXPECT_NE(outcome->text(), "");
    EXPECT_FALSE(sim.writers.movieExists);
    EXPECT_THAT(sim.files.calls, IsEmpty());
}

TEST_F(Record, StoppedBeforeThereIsAStreamAnOlderMovieAtThePathIsLeftAlone) {
    sim.writers.movieExists = true;
    auto request = screenRequest();
    request.rawOutputPath = "/raw/movie.mp4";
    const auto outcome = run(std::move(request));
    ASSERT_TRUE(sim.dispatch.advanceUntil([&] { return sim.process.liveSources == 3; }, 1s));
    sim.process.raise(Signal::terminate);
    sim.dispatch.advance(1s);
    ASSERT_TRUE(outcome->ended);
    EXPECT_EQ(outcome->text(), "An injected fault.");
    EXPECT_THAT(sim.process.kinds(), testing::Not(testing::Contains("processing")));
    EXPECT_THAT(sim.files.calls, IsEmpty());
}

TEST_F(Record, SuccessAlwaysMeansAMovie) {
    for (std::uint64_t seed = 1; seed <= 500; ++seed) {
        SCOPED_TRACE(seed);
        SimPlatform each(seed);
        control::RecorderEvents eachEvents(each.process);
        const auto outcome =
            watch(each.dispatch, session::record(screenRequest(), each.ports, eachEvents));
        each.dispatch.globalQueue().post([&] { each.process.raise(Signal::interrupt); });
        each.dispatch.globalQueue().post([&] { each.capture.deliverPicture(); });
        each.dispatch.settle();
        each.capture.deliverPicture();
        each.process.raise(Signal::interrupt);
        each.dispatch.advance(200s);
        ASSERT_TRUE(outcome->ended);
        EXPECT_TRUE(outcome->error || each.writers.movieExists);
    }
}

}  // namespace
}  // namespace quorvane::simulation
