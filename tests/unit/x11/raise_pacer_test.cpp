#include "platform/linux/x11/raise_pacer.h"

#include <gtest/gtest.h>

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;
using support::MediaTime;

constexpr MediaTime start{1h};

TEST(RaisePacer, AWindowThatWasCoveredIsBackAtOnce) {
    RaisePacer pacer;
    EXPECT_EQ(pacer.covered(start), 0ns);
    EXPECT_EQ(pacer.covered(start), std::nullopt) << "one raise is on its way";
    pacer.raising(start);
    pacer.raised(start + 1ms);
    EXPECT_EQ(pacer.covered(start + 10s), 0ns);
}

TEST(RaisePacer, NoMoreThanTwentyRaisesASecond) {
    RaisePacer pacer;
    ASSERT_EQ(pacer.covered(start), 0ns);
    pacer.raising(start);
    EXPECT_EQ(pacer.covered(start + 10ms), 40ms);
    pacer.raising(start + 50ms);
    EXPECT_EQ(pacer.covered(start + 200ms), 0ns);
}

TEST(RaisePacer, ThePausesBetweenTwoThatFightGrowToTwoSecondsAndShrinkAgain) {
    RaisePacer pacer;
    MediaTime now = start;
    std::chrono::nanoseconds longest{0};
    int raises = 0;
    while (now < start + 60s) {
        const auto delay = pacer.covered(now);  // the other one answers within a millisecond
        ASSERT_TRUE(delay);
        longest = std::max(longest, *delay);
        now += *delay;
        pacer.raising(now);
        now += 1ms;
        pacer.raised(now);
        ++raises;
    }
    EXPECT_GT(longest, 1900ms);
    EXPECT_LE(longest, 2s);
    EXPECT_LT(raises, 40);

    now += 10s;
    EXPECT_EQ(pacer.covered(now), 0ns);
    pacer.raising(now);
    pacer.raised(now);
    EXPECT_LE(*pacer.covered(now + 1ms), 50ms) << "the fight is forgotten";
}

TEST(RaisePacer, RaisesThatWereNotNeededAreNoFight) {
    RaisePacer pacer;
    MediaTime now = start;
    for (int count = 0; count < 100; ++count) {
        const auto delay = pacer.covered(now);
        ASSERT_TRUE(delay);
        EXPECT_LE(*delay, 50ms);
        now += *delay;
        pacer.raising(now);
    }
}

}  // namespace
}  // namespace quorvane::platform::x11
