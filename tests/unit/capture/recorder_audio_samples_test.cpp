#include "capture/recorder_audio_samples.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "simulation/sim_samples.h"

namespace quorvane::capture {
namespace {

using platform::PcmSampleKind;
using simulation::SimSound;

template <class Sample>
SimSound soundOf(const std::vector<Sample>& samples, PcmSampleKind kind, int channels,
                 bool interleaved = true) {
    SimSound sound;
    sound.format = platform::AudioFormat{
        .sampleKind = kind, .sampleRate = 48000, .channels = channels, .interleaved = interleaved};
    sound.frames = static_cast<std::int64_t>(samples.size()) / channels;
    const auto bytes = std::as_bytes(std::span(samples));
    sound.bytes.assign(bytes.begin(), bytes.end());
    return sound;
}

SimSound floats(const std::vector<float>& samples, int channels = 2, bool interleaved = true) {
    return soundOf(samples, PcmSampleKind::float32, channels, interleaved);
}

TEST(Level, IsTheLoudestChannelsRootMeanSquareTimesThreeAndAHalf) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    struct Row {
        const char* name;
        SimSound sound;
        float level;
    };
    const Row rows[] = {
        {"silence", floats({0, 0, 0, 0}), 0},
        {"RMS 0.1", floats({0.1F, 0.1F, -0.1F, -0.1F}), 0.35F},
        {"RMS 0.3 and above is full", floats({0.3F, 0.3F}), 1},
        {"one silent channel", floats({0, 0.2F, 0, -0.2F}), 0.7F},
        {"planar channels", floats({0, 0, 0.2F, -0.2F}, 2, false), 0.7F},
        {"mono", floats({0.1F, -0.1F}, 1), 0.35F},
        {"16-bit full-scale square wave",
         soundOf<std::int16_t>({-32768, -32768, 32767, 32767}, PcmSampleKind::int16, 2), 1},
        {"16-bit", soundOf<std::int16_t>({3277, 0, -3277, 0}, PcmSampleKind::int16, 2),
         0.35002136F},
        {"32-bit integers", soundOf<std::int32_t>({214748365, 0}, PcmSampleKind::int32, 2), 0.35F},
        {"another kind of sample", soundOf<float>({0.5F, 0.5F}, PcmSampleKind::other, 2), 0},
        {"a channel that is not a number is ignored", floats({nan, 0.1F, nan, 0.1F}), 0.35F},
        {"no number at all", floats({nan, nan}), 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_NEAR(RecorderAudioSamples::level(row.sound), row.level, 1e-6);
    }
}

TEST(Level, EveryProblemReadsZero) {
    struct Row {
        const char* name;
        std::function<void(SimSound&)> spoil;
    };
    const Row rows[] = {
        {"no format", [](SimSound& sound) { sound.format.reset(); }},
        {"compressed", [](SimSound& sound) { sound.format->isLinearPcm = false; }},
        {"no channels", [](SimSound& sound) { sound.format->channels = 0; }},
        {"no frames", [](SimSound& sound) { sound.frames = 0; }},
        {"negative frames", [](SimSound& sound) { sound.frames = -1; }},
        {"fewer bytes than frames", [](SimSound& sound) { sound.frames = 3; }},
        {"more frames than 32 bits", [](SimSound& sound) { sound.frames = 1LL << 32; }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto sound = floats({0.5F, 0.5F, 0.5F, 0.5F});
        row.spoil(sound);
        EXPECT_EQ(RecorderAudioSamples::level(sound), 0);
    }
}

TEST(Silence, IsTheSameBufferWithEveryByteZero) {
    const auto pool = support::makeMemoryPool(4096);
    auto sound = floats({0.5F, -0.5F, 0.25F, 1});
    sound.time = support::MediaTime(std::chrono::seconds(3));
    const auto silent = RecorderAudioSamples::silence(sound, pool);
    ASSERT_NE(silent, nullptr);
    EXPECT_TRUE(silent->isValid());
    EXPECT_EQ(silent->presentationTime(), sound.time);
    EXPECT_EQ(silent->sampleCount(), 2);
    EXPECT_EQ(silent->audioFormat()->channels, 2);
    ASSERT_EQ(silent->data().size(), sound.bytes.size());
    for (const auto byte : silent->data())
        EXPECT_EQ(byte, std::byte{0});
}

TEST(Silence, IsNothingForWhatCannotBeSilenced) {
    const auto pool = support::makeMemoryPool(4096);
    auto compressed = floats({0.5F, 0.5F});
    compressed.format->isLinearPcm = false;
    EXPECT_EQ(RecorderAudioSamples::silence(compressed, pool), nullptr);
    auto formless = floats({0.5F, 0.5F});
    formless.format.reset();
    EXPECT_EQ(RecorderAudioSamples::silence(formless, pool), nullptr);
    auto empty = floats({0.5F, 0.5F});
    empty.bytes.clear();
    EXPECT_EQ(RecorderAudioSamples::silence(empty, pool), nullptr);
}

TEST(Silence, OutlivesItsPoolsMaker) {
    platform::SampleBufferPtr silent;
    {
        const auto pool = support::makeMemoryPool(4096);
        silent = RecorderAudioSamples::silence(floats({0.5F, 0.5F}), pool);
    }
    EXPECT_EQ(silent->data().size(), 8U);
}

}  // namespace
}  // namespace quorvane::capture
