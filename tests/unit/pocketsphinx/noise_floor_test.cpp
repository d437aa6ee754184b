#include "platform/linux/pocketsphinx/noise_floor.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::platform::pocketsphinx {
namespace {

constexpr std::size_t second = 16000;

double rms(const std::vector<std::int16_t>& samples, std::size_t from, std::size_t to) {
    double sum = 0;
    for (std::size_t at = from; at < to; ++at)
        sum += static_cast<double>(samples[at]) * samples[at];
    return std::sqrt(sum / static_cast<double>(to - from));
}

// A second of a tone, and a second of digital silence behind it.
std::vector<std::int16_t> toneThenSilence(double amplitude) {
    std::vector<std::int16_t> samples(2 * second, 0);
    for (std::size_t at = 0; at < second; ++at) {
        samples[at] = static_cast<std::int16_t>(
            std::lround(amplitude * std::sin(0.1 * static_cast<double>(at))));
    }
    return samples;
}

TEST(NoiseFloor, LiesFiftyDecibelsBelowTheSpeech) {
    for (const double amplitude : {3000.0, 10000.0, 30000.0}) {
        SCOPED_TRACE(amplitude);
        auto samples = toneThenSilence(amplitude);
        const double tone = rms(samples, 0, second);
        addNoiseFloor(samples);
        const double noise = 20 * std::log10(rms(samples, second, 2 * second) / tone);
        EXPECT_NEAR(noise, -50, 1);
        EXPECT_NEAR(rms(samples, 0, second), tone, tone * 0.001);
    }
}

TEST(NoiseFloor, IsTheSameEachTime) {
    auto once = toneThenSilence(10000);
    auto again = once;
    addNoiseFloor(once);
    addNoiseFloor(again);
    EXPECT_EQ(once, again);
}

TEST(NoiseFloor, LeavesSilenceAndNothingAsTheyAre) {
    std::vector<std::int16_t> silence(second, 0);
    addNoiseFloor(silence);
    EXPECT_EQ(silence, std::vector<std::int16_t>(second, 0));
    std::vector<std::int16_t> nothing;
    addNoiseFloor(nothing);
    std::vector<std::int16_t> lessThanAFrame{1, 2, 3};
    addNoiseFloor(lessThanAFrame);
    EXPECT_EQ(lessThanAFrame, (std::vector<std::int16_t>{1, 2, 3}));
}

TEST(NoiseFloor, DoesNotOverflow) {
    constexpr auto most = std::numeric_limits<std::int16_t>::max();
    constexpr auto least = std::numeric_limits<std::int16_t>::min();
    std::vector<std::int16_t> samples;
    for (std::size_t at = 0; at < second; ++at)
        samples.push_back(at % 2 == 0 ? most : least);
    addNoiseFloor(samples);
    for (std::size_t at = 0; at < second; ++at)
        ASSERT_GT(at % 2 == 0 ? samples[at] : -samples[at], 32000) << at;
}

}  // namespace
}  // namespace quorvane::platform::pocketsphinx
