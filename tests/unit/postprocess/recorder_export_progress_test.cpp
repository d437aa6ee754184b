#include "postprocess/recorder_export_progress.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulation/sim_platform.h"

namespace quorvane::postprocess {
namespace {

using namespace std::chrono_literals;
using simulation::SimPlatform;
using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;

// Only its progress matters.
class WatchedSession final : public platform::ExportSession {
  public:
    std::vector<platform::FileType> supportedFileTypes() const override { return {}; }
    void setOutputPath(const std::string&) override {}
    void setOutputFileType(platform::FileType) override {}
    void setAudioMix(platform::AudioMix) override {}
    void setShouldOptimizeForNetworkUse(bool) override {}
    void exportAsynchronously(std::function<void()>) override {}
    platform::ExportStatus status() const override { return platform::ExportStatus::exporting; }
    float progress() const override { return value; }
    std::exception_ptr error() const override { return nullptr; }

    float value = 0;
};

class RecorderExportProgressTest : public testing::Test {
  protected:
    ~RecorderExportProgressTest() override { progress->stop(); }

    std::vector<nanoseconds> heartbeats() const {
        std::vector<nanoseconds> times;
        for (const auto& line : sim.process.lines) {
            EXPECT_EQ(line.text, "{\"kind\":\"heartbeat\"}\n");
            times.push_back(line.at);
        }
        return times;
    }

    SimPlatform sim;
    control::RecorderEvents events{sim.process};
    std::shared_ptr<WatchedSession> session = std::make_shared<WatchedSession>();
    std::shared_ptr<RecorderExportProgress> progress =
        RecorderExportProgress::start(session, sim.dispatch, events);
};

TEST_F(RecorderExportProgressTest, TheFirstHeartbeatComesAtOnceEvenAtZero) {
    sim.dispatch.settle();
    EXPECT_THAT(heartbeats(), ElementsAre(0s));
}

TEST_F(RecorderExportProgressTest, HeartbeatsFollowOnlyGrowthEveryTwoSeconds) {
    sim.dispatch.settle();
    sim.dispatch.advance(1999ms);
    session->value = 0.1F;
    sim.dispatch.advance(1ms);  // 2 s: grown
    sim.dispatch.advance(4s);   // 4 s, 6 s: the same
    session->value = 0.05F;
    sim.dispatch.advance(2s);  // 8 s: less
    session->value = 0.1F;
    sim.dispatch.advance(2s);  // 10 s: as much as ever
    session->value = 0.100001F;
    sim.dispatch.advance(2s);  // 12 s: grown
    EXPECT_THAT(heartbeats(), ElementsAre(0s, 2s, 12s));
}

TEST_F(RecorderExportProgressTest, AProgressThatIsNoNumberIsNoGrowth) {
    sim.dispatch.settle();
    session->value = std::numeric_limits<float>::quiet_NaN();
    sim.dispatch.advance(10s);
    EXPECT_THAT(heartbeats(), ElementsAre(0s));
}

TEST_F(RecorderExportProgressTest, AnHourOfLooksDoesNotDrift) {
    for (int look = 0; look <= 1800; ++look) {
        session->value += 0.0001F;
        sim.dispatch.advance(look == 0 ? 0s : 2s);
    }
    const auto times = heartbeats();
    ASSERT_EQ(times.size(), 1801U);
    EXPECT_EQ(times.back(), 3600s);
}

TEST_F(RecorderExportProgressTest, NothingIsSentOnceItIsStopped) {
    sim.dispatch.settle();
    progress->stop();
    progress->stop();
    session->value = 0.5F;
    sim.dispatch.advance(10s);
    EXPECT_THAT(heartbeats(), ElementsAre(0s));
}

TEST_F(RecorderExportProgressTest, StoppedBeforeItsFirstLookItNeverLooks) {
    progress->stop();
    sim.dispatch.advance(10s);
    EXPECT_THAT(heartbeats(), IsEmpty());
}

TEST_F(RecorderExportProgressTest, DroppingItEndsItAndReleasesTheSession) {
    sim.dispatch.settle();
    const std::weak_ptr<WatchedSession> watched = session;
    session->value = 0.5F;
    session.reset();
    progress =
        RecorderExportProgress::start(std::make_shared<WatchedSession>(), sim.dispatch, events);
    EXPECT_TRUE(watched.expired());
}

}  // namespace
}  // namespace quorvane::postprocess
