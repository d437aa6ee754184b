// Where sound comes to lie in the movie, judged by decoding it.
#include <algorithm>
#include <cmath>
#include <numbers>

#include <gtest/gtest.h>

#include "unit/libav/movie_reader.h"
#include "unit/libav/movie_recording.h"

namespace quorvane::platform::libav {
namespace {

// Where the loudest sample of the range lies.
std::int64_t loudest(const std::vector<float>& samples, std::size_t from = 0,
                     std::size_t to = SIZE_MAX) {
    to = std::min(to, samples.size());
    if (from >= to) return -1;
    const auto begin = samples.begin();
    const auto place = std::max_element(begin + static_cast<std::ptrdiff_t>(from),
                                        begin + static_cast<std::ptrdiff_t>(to),
                                        [](float a, float b) { return std::abs(a) < std::abs(b); });
    return place - begin;
}

float loudness(const std::vector<float>& samples, std::size_t from, std::size_t to) {
    double sum = 0;
    for (auto index = from; index < to && index < samples.size(); ++index)
        sum += samples[index] * samples[index];
    return static_cast<float>(std::sqrt(sum / static_cast<double>(to - from)));
}

float tone(std::int64_t frame) {
    return 0.5F * static_cast<float>(
                      std::sin(static_cast<double>(frame) * 2 * std::numbers::pi * 440 / 48000));
}

void expectTone(const std::string& path, std::chrono::seconds length) {
    const auto samples = sound(path);
    const auto end = static_cast<std::size_t>(length.count()) * 48000;
    for (std::size_t begin = 4800; begin + 4800 < end; begin += 4800)
        EXPECT_NEAR(loudness(samples, begin, begin + 4800), 0.354, 0.01) << begin;
}

TEST(LibavMovieWriterSound, PutsAnImpulseExactlyWhereItWasHeard) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 2);
    ASSERT_TRUE(recording.picture(0s));
    const auto impulses = [](std::int64_t frame) {
        return frame == 100 || frame == 12345 || frame == 47999 ? 0.9F : 0.0F;
    };
    for (std::size_t track : {0U, 1U})
        recording.soundUpTo(track, 0ms, 1000ms, impulses);
    // The same must hold for the movie while it is being recorded: the first half second is there.
    recording.moveTo(1900ms);
    const auto copy = folder.file("copy.mp4");
    for (int wait = 0; wait < 200; ++wait) {
        const auto content = fileContent(recording.path);
        writeFile(copy, content, content.size());
        if (sound(copy, 1).size() >= 20000) break;
        std::this_thread::sleep_for(20ms);
    }
    recording.finish(2s);
    for (const auto& path : {copy, recording.path}) {
        SCOPED_TRACE(path);
        for (int track : {0, 1}) {
            const auto samples = sound(path, track);
            EXPECT_EQ(loudest(samples, 0, 6000), 100);
            EXPECT_EQ(loudest(samples, 6000, 30000), 12345);
        }
    }
    EXPECT_EQ(loudest(sound(recording.path), 30000), 47999);
}

TEST(LibavMovieWriterSound, IsAsLongAsThePicture) {
    struct Row {
        const char* name;
        std::chrono::nanoseconds end;
        std::chrono::milliseconds soundEnd;
    };
    const Row rows[] = {
        {"the sound ends before", 1234'567'891ns, 300ms},
        {"the sound ends with it", 1s, 1000ms},
        {"the sound goes on", 700ms, 900ms},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TestFolder folder;
        Recording recording(folder.file("movie.mp4"), 64, 48, 1);
        ASSERT_TRUE(recording.picture(0s));
        // Sound whose time lies ahead of the clock is what a late stop looks like.
        for (auto time = 0ms; time < row.soundEnd; time += 10ms)
            ASSERT_TRUE(recording.sound(0, floatSound(sessionBegin + time, 480, tone)));
        recording.finish(row.end);
        const auto expected = std::chrono::duration<double>(row.end).count();
        EXPECT_NEAR(durationOf(recording.path), expected, 0.0002);
        EXPECT_NEAR(trackDuration(recording.path, 0), expected, 0.0002);
        EXPECT_NEAR(trackDuration(recording.path, 1), expected, 0.0002);
        EXPECT_NEAR(static_cast<double>(sound(recording.path).size()), expected * 48000, 1024);
    }
}

TEST(LibavMovieWriterSound, EndsWhereCaptureDid) {
    struct Row {
        const char* name;
        std::chrono::milliseconds soundEnd;
        std::chrono::milliseconds finish;
        double expected;
    };
    // The last sounds are waited for, and are cut where capture stopped.
    constexpr Row rows[] = {
        {"the last sounds took a moment", 1000ms, 1080ms, 1.0},
        {"no sound is left to tell", 700ms, 1000ms, 1.0},
        {"sound that runs ahead", 1010ms, 1000ms, 1.0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TestFolder folder;
        Recording recording(folder.file("movie.mp4"), 64, 48, 1);
        ASSERT_TRUE(recording.picture(0s));
        for (auto time = 0ms; time < row.soundEnd; time += 10ms)
            ASSERT_TRUE(recording.sound(0, floatSound(sessionBegin + time, 480, tone)));
        recording.finish(row.finish);
        EXPECT_NEAR(durationOf(recording.path), row.expected, 0.0002);
        EXPECT_NEAR(trackDuration(recording.path, 1), row.expected, 0.0002);
    }
}

TEST(LibavMovieWriterSound, FillsGapsWithSilenceAndCutsOverlaps) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 1);
    ASSERT_TRUE(recording.picture(0s));
    recording.soundUpTo(0, 200ms, 500ms, tone);
    recording.soundUpTo(0, 800ms, 1200ms, tone);
    // A device that gives the same stretch again, at its old time.
    recording.soundUpTo(0, 1100ms, 1300ms,
                        [](std::int64_t frame) { return frame < 1200 * 48 ? 0.9F : tone(frame); });
    recording.finish(1500ms);
    const auto samples = sound(recording.path);
    const auto at = [](int milliseconds) { return static_cast<std::size_t>(milliseconds) * 48; };
    EXPECT_LT(loudness(samples, at(0), at(175)), 0.001F);
    EXPECT_NEAR(loudness(samples, at(220), at(480)), 0.354, 0.01);
    EXPECT_LT(loudness(samples, at(525), at(775)), 0.001F);
    EXPECT_NEAR(loudness(samples, at(820), at(1280)), 0.354, 0.01);
    EXPECT_LT(loudness(samples, at(1325), at(1475)), 0.001F);
    // The tone has kept its phase: each stretch lies where it was heard.
    for (const auto place : {at(300), at(900), at(1250)})
        for (std::size_t index = place; index < place + 100; ++index)
            EXPECT_NEAR(samples[index], tone(static_cast<std::int64_t>(index)), 0.05);
}

TEST(LibavMovieWriterSound, GoesOnAsSilenceWhileADeviceIsGone) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 1);
    ASSERT_TRUE(recording.picture(0s));
    recording.soundUpTo(0, 0ms, 500ms, tone);
    recording.moveTo(10s);
    // Without any further sound, the track reaches to five seconds before the present, of which the
    // last half may still wait for the next fragment.
    const auto copy = folder.file("copy.mp4");
    double length = 0;
    for (int wait = 0; length < 4.4 && wait < 200; ++wait) {
        std::this_thread::sleep_for(20ms);
        const auto content = fileContent(recording.path);
        writeFile(copy, content, content.size());
        length = static_cast<double>(sound(copy).size()) / 48000;
    }
    EXPECT_GE(length, 4.4);
    EXPECT_LE(length, 5.1);
    // The device is back: from its first buffer on everything lies where it belongs.
    recording.soundUpTo(0, 10000ms, 10500ms, tone);
    recording.finish(11s);
    const auto samples = sound(recording.path);
    EXPECT_LT(loudness(samples, 30000, 479000), 0.001F);
    for (std::size_t index = 490000; index < 490100; ++index)
        EXPECT_NEAR(samples[index], tone(static_cast<std::int64_t>(index)), 0.05);
}

TEST(LibavMovieWriterSound, HearsAllThatComesLateAtOnce) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 1);
    ASSERT_TRUE(recording.picture(0s));
    // Whoever appends was held up for three seconds; meanwhile the sound thread has looked often.
    recording.moveTo(3s);
    std::this_thread::sleep_for(300ms);
    recording.soundUpTo(0, 0ms, 3000ms, tone);
    recording.finish(3s);
    expectTone(recording.path, 3s);
}

TEST(LibavMovieWriterSound, HearsAllThatWaitedForTheFile) {
    const TestFolder folder;
    // A disk that spins up. Meanwhile the sound waits behind the call.
    Recording recording(folder.file("movie.mp4"), 64, 48, 1, {}, soundSettings, 20s);
    ASSERT_TRUE(recording.picture(0s));
    std::this_thread::sleep_for(300ms);
    // As the engine does: what does not fit is left out.
    for (auto time = 0ms; time < 20s; time += 10ms) {
        if (!recording.audio[0]->isReadyForMoreMediaData()) continue;
        const auto first = time.count() * 48;
        EXPECT_TRUE(recording.audio[0]->append(floatSound(
            sessionBegin + time, 480, [&](std::int64_t frame) { return tone(first + frame); })));
    }
    recording.finish(20s);
    expectTone(recording.path, 20s);
}

TEST(LibavMovieWriterSound, TakesEveryPcmFormat) {
    constexpr int seconds = 1;
    const auto value = [](std::int64_t frame, int rate) {
        return 0.5 * std::sin(static_cast<double>(frame) * 2 * std::numbers::pi * 440 / rate);
    };
    struct Row {
        const char* name;
        AudioFormat format;
    };
    const Row rows[] = {
        {"16 bits", {.sampleKind = PcmSampleKind::int16}},
        {"32 bits", {.sampleKind = PcmSampleKind::int32}},
        {"planar floats", {.interleaved = false}},
        {"planar 16 bits", {.sampleKind = PcmSampleKind::int16, .interleaved = false}},
        {"mono", {.channels = 1}},
        {"44.1 kHz", {.sampleRate = 44100}},
        {"16 kHz, mono, 16 bits",
         {.sampleKind = PcmSampleKind::int16, .sampleRate = 16000, .channels = 1}},
        {"96 kHz", {.sampleRate = 96000}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto& format = row.format;
        const TestFolder folder;
        Recording recording(folder.file("movie.mp4"), 64, 48, 1);
        ASSERT_TRUE(recording.picture(0s));
        recording.moveTo(1s);
        const int frames = format.sampleRate / 100;
        for (int buffer = 0; buffer < 100 * seconds; ++buffer) {
            std::vector<std::byte> data;
            const auto put = [&](int frame) {
                const double sample =
                    value(std::int64_t{buffer} * frames + frame, format.sampleRate);
                const auto bytes = [&data](const auto number) {
                    const auto raw = std::as_bytes(std::span(&number, 1));
                    data.insert(data.end(), raw.begin(), raw.end());
                };
                if (format.sampleKind == PcmSampleKind::int16) {
                    bytes(static_cast<std::int16_t>(sample * 32767));
                } else if (format.sampleKind == PcmSampleKind::int32) {
                    bytes(static_cast<std::int32_t>(sample * 2147483647.0));
                } else {
                    bytes(static_cast<float>(sample));
                }
            };
            for (int outer = 0; outer < (format.interleaved ? frames : format.channels); ++outer)
                for (int inner = 0; inner < (format.interleaved ? format.channels : frames);
                     ++inner)
                    put(format.interleaved ? outer : inner);
            ASSERT_TRUE(
                recording.sound(0, std::make_shared<SoundSample>(sessionBegin + buffer * 10ms,
                                                                 format, frames, std::move(data))));
        }
        recording.finish(1s);
        const auto samples = sound(recording.path);
        ASSERT_GT(samples.size(), 40000U);
        // A shift by one sample would be an error of 0.02.
        double squares = 0;
        for (int index = 10000; index < 40000; ++index) {
            const double error = samples[static_cast<std::size_t>(index)] - value(index, 48000);
            squares += error * error;
        }
        EXPECT_LT(std::sqrt(squares / 30000), 0.007);
    }
}

TEST(LibavMovieWriterSound, LeavesOutWhatItCannotPlace) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 1);
    ASSERT_TRUE(recording.picture(0s));
    recording.soundUpTo(0, 0ms, 100ms, tone);
    EXPECT_TRUE(recording.sound(0, floatSound(std::nullopt, 480, tone)));
    EXPECT_TRUE(recording.sound(0, floatSound(sessionBegin + 10h, 480, tone)));
    EXPECT_TRUE(recording.sound(
        0, floatSound(sessionBegin + 100ms, 480, tone, {.sampleKind = PcmSampleKind::other})));
    EXPECT_TRUE(
        recording.sound(0, floatSound(sessionBegin + 100ms, 480, tone, {.isLinearPcm = false})));
    EXPECT_TRUE(
        recording.sound(0, std::make_shared<SoundSample>(sessionBegin + 100ms, AudioFormat{}, 480,
                                                         std::vector<std::byte>())));
    recording.soundUpTo(0, 100ms, 200ms, tone);
    recording.finish(1s);
    EXPECT_EQ(recording.lastStatus, MovieWriterStatus::completed);
    const auto samples = sound(recording.path);
    for (std::size_t index = 4900; index < 9000; ++index)
        ASSERT_NEAR(samples[index], tone(static_cast<std::int64_t>(index)), 0.05) << index;
}

TEST(LibavMovieWriterSound, StaysWithThePictureOverTenMinutesOfDrift) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 1, {},
                        {.sampleRate = 48000, .channels = 1, .bitRate = 64000});
    constexpr double drift = 200e-6;  // the device's clock is that much too fast
    constexpr int seconds = 600;
    std::int64_t deviceFrame = 0;
    // An impulse at every tenth second of the host's time, as the device hears it.
    const auto deviceFrameAt = [](double time) { return std::llround(time * 48000 * (1 + drift)); };
    int nextImpulse = 5;
    for (int second = 0; second < seconds; ++second) {
        ASSERT_TRUE(recording.picture(second * 1s));
        const auto end = deviceFrameAt(second + 1.0);
        while (deviceFrame + 1024 <= end) {
            const std::chrono::duration<double> time(static_cast<double>(deviceFrame) /
                                                     (48000 * (1 + drift)));
            const auto impulse = deviceFrameAt(nextImpulse);
            ASSERT_TRUE(recording.sound(
                0,
                floatSound(
                    sessionBegin + std::chrono::duration_cast<std::chrono::nanoseconds>(time), 1024,
                    [&](std::int64_t frame) {
                        return deviceFrame + frame == impulse ? 0.9F : 0.0F;
                    },
                    {.channels = 1})));
            deviceFrame += 1024;
            if (deviceFrame > impulse) nextImpulse += 10;
        }
    }
    recording.finish(seconds * 1s);
    // To the end of the device's last whole buffer.
    EXPECT_NEAR(trackDuration(recording.path, 0), seconds, 0.0214);
    EXPECT_NEAR(trackDuration(recording.path, 1), trackDuration(recording.path, 0), 0.0005);
    const auto samples = sound(recording.path, 0, 1);
    EXPECT_NEAR(static_cast<double>(samples.size()) / 48000, seconds, 0.025);
    for (int second = 5; second < seconds; second += 10) {
        const auto place = static_cast<std::size_t>(second) * 48000;
        const auto found = loudest(samples, place - 4800, place + 4800);
        EXPECT_NEAR(static_cast<double>(found) / 48000, second, 0.003);
        EXPECT_GT(std::abs(samples[static_cast<std::size_t>(found)]), 0.2F);
    }
}

}  // namespace
}  // namespace quorvane::platform::libav
