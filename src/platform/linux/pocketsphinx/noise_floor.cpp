#include "platform/linux/pocketsphinx/noise_floor.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace quorvane::platform::pocketsphinx {
namespace {

constexpr std::size_t frameSamples = 160;  // 10 ms at 16 kHz
constexpr double belowSpeech = 0.00316;    // a factor: -50 dB
// Of the loudest frame; what is louder than that counts as speech.
constexpr double speechShare = 0.05;

double power(std::span<const std::int16_t> samples) {
    double sum = 0;
    for (const auto sample : samples)
        sum += static_cast<double>(sample) * sample;
    return sum / static_cast<double>(samples.size());
}

// The effective value of the frames with speech.
double speechLevel(std::span<const std::int16_t> samples) {
    std::vector<double> powers;
    for (std::size_t at = 0; at + frameSamples <= samples.size(); at += frameSamples)
        powers.push_back(power(samples.subspan(at, frameSamples)));
    if (powers.empty()) return 0;
    const double least =
        *std::max_element(powers.begin(), powers.end()) * speechShare * speechShare;
    double sum = 0;
    std::size_t count = 0;
    for (const double each : powers) {
        if (each < least) continue;
        sum += each;
        ++count;
    }
    return std::sqrt(sum / static_cast<double>(count));
}

// Uniform in [-1, 1) by Marsaglia's xorshift, which is as white as the purpose needs.
class Noise {
  public:
    double next() {
        state_ ^= state_ << 13U;
        state_ ^= state_ >> 17U;
        state_ ^= state_ << 5U;
        return static_cast<double>(static_cast<std::int32_t>(state_)) / 2147483648.0;
    }

  private:
    std::uint32_t state_ = 2463534242U;
};

}  // namespace

void addNoiseFloor(std::span<std::int16_t> samples) {
    // Uniform noise of this amplitude has the effective value that is wanted.
    const double amplitude = speechLevel(samples) * belowSpeech * std::sqrt(3.0);
    Noise noise;
    for (auto& sample : samples) {
        const double sum = std::round(sample + amplitude * noise.next());
        sample = static_cast<std::int16_t>(std::clamp(sum, -32768.0, 32767.0));
    }
}

}  // namespace quorvane::platform::pocketsphinx
