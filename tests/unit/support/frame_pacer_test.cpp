#include "support/frame_pacer.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::support {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

constexpr nanoseconds sixtieth = 16'666'667ns;

MediaTime at(nanoseconds time) {
    return MediaTime(1000s + time);
}
nanoseconds sinceStart(MediaTime time) {
    return time - at(0ns);
}

// Captures every change as soon as it is due; a change that comes before the one before it was
// captured is captured together with it. Returns when each capture happened.
std::vector<nanoseconds> captureAll(FramePacer& pacer, const std::vector<nanoseconds>& changes) {
    std::vector<nanoseconds> captures;
    for (std::size_t i = 0; i < changes.size();) {
        const MediaTime due = pacer.due(at(changes[i]));
        pacer.captured(due);
        captures.push_back(sinceStart(due));
        while (i < changes.size() && changes[i] <= sinceStart(due))
            ++i;
    }
    return captures;
}

TEST(FramePacer, AllowsTheFirstChangeAtOnce) {
    EXPECT_EQ(FramePacer(sixtieth).due(at(5ms)), at(5ms));
}

TEST(FramePacer, DelaysAChangeByTheIntervalLessTheSlack) {
    struct Row {
        std::string name;
        nanoseconds change, due;
    };
    const Row rows[] = {
        {"right after a frame", 1ns, 19ms},
        {"shortly before it is due", 18ms, 19ms},
        {"when it is due", 19ms, 19ms},
        {"a full interval later", 20ms, 20ms},
        {"much later", 5s, 5s},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        FramePacer pacer(20ms);
        pacer.captured(at(0ns));
        EXPECT_EQ(sinceStart(pacer.due(at(row.change))), row.due);
    }
}

TEST(FramePacer, WithoutAnIntervalAllowsEveryChangeAtOnce) {
    FramePacer pacer(0ns);
    pacer.captured(at(3ms));
    EXPECT_EQ(pacer.due(at(3ms + 1ns)), at(3ms + 1ns));
}

TEST(FramePacer, HealsTheLagOfALateFrameByAMillisecondAFrame) {
    std::vector<nanoseconds> changes;
    for (int i = 0; i < 60; ++i)
        changes.push_back(i * sixtieth);
    changes[20] += 10ms;
    FramePacer pacer(sixtieth);
    const auto captures = captureAll(pacer, changes);

    ASSERT_EQ(captures.size(), 60u);
    const auto lagOf = [&](std::size_t i) { return captures[i] - static_cast<int>(i) * sixtieth; };
    EXPECT_EQ(lagOf(19), 0ns);
    EXPECT_EQ(lagOf(20), 10ms);
    EXPECT_EQ(lagOf(21), 9ms);
    EXPECT_EQ(lagOf(25), 5ms);
    EXPECT_EQ(lagOf(29), 1ms);
    for (std::size_t i = 30; i < 60; ++i)
        EXPECT_EQ(lagOf(i), 0ns) << i;
}

TEST(FramePacer, HoldsAFasterSourceToTheFrameRate) {
    struct Row {
        std::string name;
        nanoseconds period;
    };
    const Row rows[] = {
        {"200 Hz", 5ms}, {"144 Hz", 6'944'444ns}, {"1000 Hz", 1ms}, {"61 Hz", 16'393'443ns}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<nanoseconds> changes;
        for (nanoseconds time = 0ns; time < 10s; time += row.period)
            changes.push_back(time);
        FramePacer pacer(sixtieth);
        const auto captures = captureAll(pacer, changes);

        // 600 intervals, and at most the one frame that the schedule may be ahead by.
        EXPECT_GE(captures.size(), 599u);
        EXPECT_LE(captures.size(), 602u);
        for (std::size_t i = 1; i < captures.size(); ++i) {
            ASSERT_GE(captures[i] - captures[i - 1], sixtieth - 1ms) << i;
        }
        for (std::size_t i = 61; i < captures.size(); ++i) {
            ASSERT_GE(captures[i] - captures[i - 61], 60 * sixtieth) << i;
        }
    }
}

TEST(FramePacer, SavesUpNothingWhileTheScreenIsStill) {
    FramePacer pacer(20ms);
    std::vector<nanoseconds> changes{0ns};
    for (nanoseconds time = 10s; time < 11s; time += 1ms)
        changes.push_back(time);
    const auto captures = captureAll(pacer, changes);
    // One second holds 50 intervals, both ends counted, and the one frame ahead.
    EXPECT_EQ(captures[1], 10s);
    EXPECT_LE(captures.size(), 1 + 50 + 2u);
}

}  // namespace
}  // namespace quorvane::support
