#include "support/audio_timeline.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::support {
namespace {

using namespace std::chrono_literals;

constexpr MediaTime start{100s};
constexpr int rate = 48000;

TEST(AudioTimeline, PlacesTheFirstBufferExactly) {
    struct Row {
        const char* name;
        std::chrono::nanoseconds time;  // from the start
        std::int64_t frames;
        int bufferRate;
        AudioPlacement placement;
    };
    const Row rows[] = {
        {"at the start", 0ns, 480, 48000, {}},
        {"a second late", 1s, 480, 48000, {.silence = 48000}},
        {"to the nearest frame", 20840ns, 480, 48000, {.silence = 1}},
        {"a little late is not jitter yet", 1ms, 480, 48000, {.silence = 48}},
        {"5 ms before the start", -5ms, 480, 48000, {.trim = 240}},
        {"trimmed at the buffer's own rate", -5ms, 441, 44100, {.trim = 221}},
        {"wholly before the start", -1s, 480, 48000, {.trim = 480}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        AudioTimeline timeline(rate, start);
        EXPECT_EQ(timeline.place(start + row.time, row.frames, row.bufferRate, 0), row.placement);
    }
}

TEST(AudioTimeline, KeepsTryingWhileBuffersLieBeforeTheStart) {
    AudioTimeline timeline(rate, start);
    EXPECT_EQ(timeline.place(start - 20ms, 480, rate, 0).trim, 480);
    EXPECT_EQ(timeline.place(start - 10ms, 480, rate, 0).trim, 480);
    EXPECT_EQ(timeline.place(start - 1ms, 480, rate, 0), (AudioPlacement{.trim = 48}));
}

TEST(AudioTimeline, TellsGapsAndOverlapsFromJitter) {
    struct Row {
        const char* name;
        std::chrono::nanoseconds displacement;  // of the second buffer from the first one's end
        AudioPlacement placement;
    };
    const Row rows[] = {
        {"on time", 0ns, {}},
        {"2 ms late", 2ms, {}},
        {"49 ms late, once", 49ms, {}},
        {"49 ms early, once", -49ms, {}},
        {"60 ms missing", 60ms, {.silence = 2880}},
        {"60 ms twice", -60ms, {.trim = 2880}},
        {"an hour missing", 1h, {.silence = 172800000}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        AudioTimeline timeline(rate, start);
        EXPECT_EQ(timeline.place(start, 4800, rate, 0), AudioPlacement{});
        const auto placement = timeline.place(start + 100ms + row.displacement, 4800, rate, 4800);
        EXPECT_EQ(placement.silence, row.placement.silence);
        EXPECT_EQ(placement.trim, row.placement.trim);
    }
}

TEST(AudioTimeline, TakesAStepThatLastsForAGap) {
    AudioTimeline timeline(rate, start);
    double position = 0;
    EXPECT_EQ(timeline.place(start, 480, rate, position), AudioPlacement{});
    // A lost period of 1024 frames: from now on everything comes 21.3 ms later than the track is.
    std::int64_t silence = 0;
    auto buffersUntilHealed = 0;
    for (int index = 1; silence == 0; ++index) {
        ASSERT_LE(index, 30);
        position += 480;
        const auto placement = timeline.place(start + index * 10ms + 21333us, 480, rate, position);
        silence = placement.silence;
        position += placement.stretch * 480;
        buffersUntilHealed = index;
    }
    EXPECT_NEAR(static_cast<double>(silence), 1024, 40);  // some of it was stretched already
    EXPECT_NEAR(buffersUntilHealed, 25, 1);
}

TEST(AudioTimeline, PlacesExactlyAfterAnInterruption) {
    AudioTimeline timeline(rate, start);
    EXPECT_EQ(timeline.place(start, 480, rate, 0), AudioPlacement{});
    timeline.interrupt();
    EXPECT_EQ(timeline.place(start + 12ms, 480, rate, 480), (AudioPlacement{.silence = 96}));
    timeline.interrupt();
    EXPECT_EQ(timeline.place(start + 20ms, 480, rate, 1056), (AudioPlacement{.trim = 96}));
}

TEST(AudioTimeline, CountsPositionsFromTheStart) {
    const AudioTimeline timeline(rate, start);
    EXPECT_EQ(timeline.positionAt(start - 1s), 0);
    EXPECT_EQ(timeline.positionAt(start), 0);
    EXPECT_EQ(timeline.positionAt(start + 1500ms), 72000);
}

// A device whose clock is off by so much, with times that jitter by up to so much, for ten minutes.
struct Drift {
    double partsPerMillion;
    std::chrono::nanoseconds jitter;
    std::uint32_t seed;

    struct Result {
        double worst = 0;  // s between a buffer's time and its place, after the first 10 s
        double end = 0;    // the same at the end
        std::int64_t cuts = 0;
        std::int64_t stretched = 0;  // buffers
    };

    Result run() const {
        std::mt19937 random(seed);
        std::uniform_real_distribution<double> uniform(-1, 1);
        AudioTimeline timeline(rate, start);
        Result result;
        double position = 0;
        constexpr int frames = 480;
        const double length = frames / (rate * (1 + partsPerMillion * 1e-6));  // s, by the host
        for (int index = 0; index < 60000; ++index) {
            const double time = index * length;
            const double off = uniform(random) * std::chrono::duration<double>(jitter).count();
            const double measured = index == 0 ? 0 : time + off;
            const auto placement =
                timeline.place(start + std::chrono::duration_cast<std::chrono::nanoseconds>(
                                           std::chrono::duration<double>(measured)),
                               frames, rate, position);
            result.cuts += placement.silence + placement.trim;
            result.stretched += placement.stretch != 0;
            EXPECT_LE(std::abs(placement.stretch), AudioTimeline::mostStretch);
            result.end = std::abs(position / rate - time);
            if (index > 1000) result.worst = std::max(result.worst, result.end);
            position += frames * (1 + placement.stretch);
        }
        return result;
    }
};

TEST(AudioTimeline, HoldsDriftingClocksWithinMilliseconds) {
    for (const double partsPerMillion : {-500.0, -200.0, -20.0, 20.0, 200.0, 500.0}) {
        SCOPED_TRACE(partsPerMillion);
        const auto result = Drift{partsPerMillion, 1ms, 1}.run();
        EXPECT_LT(result.worst, 0.0035);
        EXPECT_EQ(result.cuts, 0);
        EXPECT_GT(result.stretched, 0);
    }
}

TEST(AudioTimeline, LeavesJitterAlone) {
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        const auto result = Drift{0, 2ms, seed}.run();
        EXPECT_EQ(result.stretched, 0);
        EXPECT_EQ(result.cuts, 0);
    }
}

TEST(AudioTimeline, CatchesUpWithAClockThatIsFarOff) {
    const auto result = Drift{4000, 1ms, 1}.run();  // 0.4 %
    EXPECT_LT(result.worst, 0.015);
    EXPECT_EQ(result.cuts, 0);
}

}  // namespace
}  // namespace quorvane::support
