#include "platform/linux/pipewire/sound_timeline.h"

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::platform::pipewire {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

support::MediaTime at(nanoseconds time) {
    return support::MediaTime(time);
}

struct Stretch {
    nanoseconds measured;
    std::size_t frames;
    nanoseconds start;
    std::size_t skip;
};

struct Row {
    std::string name;
    std::vector<Stretch> stretches;
};

// At 48 kHz, 480 frames are 10 ms.
const Row rows[] = {
    {"the first stretch is taken as measured", {{1s, 480, 1s, 0}}},
    {"stretches that follow each other exactly stay so",
     {{1s, 480, 1s, 0}, {1010ms, 480, 1010ms, 0}, {1020ms, 480, 1020ms, 0}}},
    {"a sixteenth of a late measurement is followed",
     {{1s, 480, 1s, 0}, {1011600us, 480, 1010100us, 0}}},
    {"a sixteenth of an early measurement is followed",
     {{1s, 480, 1s, 0}, {1008400us, 480, 1009900us, 0}}},
    {"3.9 ms are still jitter", {{1s, 480, 1s, 0}, {1013900us, 480, 1010243750ns, 0}}},
    {"from 4 ms on a gap is a gap", {{1s, 480, 1s, 0}, {1014ms, 480, 1014ms, 0}}},
    {"after a gap the sound goes on from there",
     {{1s, 480, 1s, 0}, {5s, 480, 5s, 0}, {5010ms, 480, 5010ms, 0}}},
    {"what overlaps by 4 ms or more is cut at the front",
     {{1s, 480, 1s, 0}, {1006ms, 480, 1010ms, 192}, {1016ms, 480, 1016ms, 0}}},
    {"a stretch that was covered already is dropped whole",
     {{1s, 4800, 1s, 0}, {1010ms, 480, 1020ms, 480}, {1100ms, 480, 1100ms, 0}}},
    {"a time far in the past does no harm",
     {{3000s, 480, 3000s, 0}, {1s, 480, 1010ms, 480}, {3000010ms, 480, 3000010ms, 0}}},
};

TEST(SoundTimeline, PutsStretchesOneAfterTheOther) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        SoundTimeline timeline(48000);
        for (const Stretch& stretch : row.stretches) {
            const auto placement = timeline.place(at(stretch.measured), stretch.frames);
            EXPECT_EQ(placement.skip, stretch.skip);
            if (placement.skip < stretch.frames) {
                EXPECT_EQ(placement.start.time_since_epoch().count(), stretch.start.count());
            }
        }
    }
}

TEST(SoundTimeline, KeepsTheDriftOfADeviceClockVisible) {
    SoundTimeline timeline(48000);
    // A device that runs 200 ppm slow: 10 ms of sound take 10.002 ms.
    nanoseconds measured = 1s;
    support::MediaTime start{};
    for (int i = 0; i < 6000; ++i) {
        start = timeline.place(at(measured), 480).start;
        measured += 10002us;
    }
    const nanoseconds behind = (measured - 10002us) - start.time_since_epoch();
    EXPECT_LT(std::chrono::abs(behind), 50us) << behind.count();
}

TEST(SoundTimeline, TakesTheJitterOutOfASteadyClock) {
    SoundTimeline timeline(48000);
    support::MediaTime end = at(1s);
    nanoseconds largest = 0ns;
    for (int i = 0; i < 1000; ++i) {
        const nanoseconds jitter = i % 2 == 0 ? 0ns : 800us;
        const auto start = timeline.place(at(1s + i * 10ms + jitter), 480).start;
        largest = std::max(largest, std::chrono::abs(start - end));
        end = start + 10ms;
    }
    EXPECT_LE(largest, 50us) << largest.count();
}

}  // namespace
}  // namespace quorvane::platform::pipewire
