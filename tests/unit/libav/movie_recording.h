// Small recordings with made-up pictures and sound, on a clock that the test moves.
#pragma once

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/linux/libav/libav_movie_writer.h"
#include "platform/sample_buffer.h"
#include "unit/temporary_folder.h"

namespace quorvane::platform::libav {

using namespace std::chrono_literals;

class ManualClock final : public support::Clock {
  public:
    support::MediaTime hostTime() const override {
        return support::MediaTime(std::chrono::nanoseconds(now_.load()));
    }
    support::WallTime wallTime() const override {
        return support::WallTime(std::chrono::seconds(1'700'000'000));
    }
    void set(support::MediaTime time) { now_ = time.time_since_epoch().count(); }

  private:
    std::atomic<std::int64_t> now_{0};
};

class RealClock final : public support::Clock {
  public:
    support::MediaTime hostTime() const override {
        return support::MediaTime(std::chrono::steady_clock::now().time_since_epoch());
    }
    support::WallTime wallTime() const override { return std::chrono::system_clock::now(); }
};

struct Colour {
    std::uint8_t y = 16;
    std::uint8_t u = 128;
    std::uint8_t v = 128;
};

class PictureSample final : public SampleBuffer {
  public:
    PictureSample(int width, int height, std::optional<support::MediaTime> time)
        : time_(time), bytes_(static_cast<std::size_t>(width * height * 3 / 2)) {
        picture_.width = width;
        picture_.height = height;
        picture_.planes = {bytes_.data(), bytes_.data() + width * height,
                           bytes_.data() + width * height * 5 / 4};
        picture_.strides = {width, width / 2, width / 2};
    }
    PictureSample(int width, int height, std::optional<support::MediaTime> time, Colour colour)
        : PictureSample(width, height, time) {
        const auto luma = static_cast<std::size_t>(width * height);
        std::memset(bytes_.data(), colour.y, luma);
        std::memset(bytes_.data() + luma, colour.u, luma / 4);
        std::memset(bytes_.data() + luma / 4 * 5, colour.v, luma / 4);
    }

    std::span<std::uint8_t> bytes() { return bytes_; }

    bool isValid() const noexcept override { return true; }
    std::optional<support::MediaTime> presentationTime() const noexcept override { return time_; }
    std::int64_t sampleCount() const noexcept override { return 1; }
    const Picture* picture() const noexcept override { return &picture_; }

  private:
    std::optional<support::MediaTime> time_;
    std::vector<std::uint8_t> bytes_;
    Picture picture_;
};

class SoundSample final : public SampleBuffer {
  public:
    SoundSample(std::optional<support::MediaTime> time, AudioFormat format, std::int64_t frames,
                std::vector<std::byte> data)
        : time_(time), format_(format), frames_(frames), data_(std::move(data)) {}

    bool isValid() const noexcept override { return true; }
    std::optional<support::MediaTime> presentationTime() const noexcept override { return time_; }
    std::int64_t sampleCount() const noexcept override { return frames_; }
    const AudioFormat* audioFormat() const noexcept override { return &format_; }
    std::span<const std::byte> data() const noexcept override { return data_; }

  private:
    std::optional<support::MediaTime> time_;
    AudioFormat format_;
    std::int64_t frames_;
    std::vector<std::byte> data_;
};

// Interleaved floats, the same in every channel: the value of each frame, counted from 0.
inline SampleBufferPtr floatSound(std::optional<support::MediaTime> time, std::int64_t frames,
                                  const std::function<float(std::int64_t)>& value,
                                  AudioFormat format = {}) {
    std::vector<float> samples;
    for (std::int64_t frame = 0; frame < frames; ++frame)
        samples.insert(samples.end(), static_cast<std::size_t>(format.channels), value(frame));
    std::vector<std::byte> data(samples.size() * sizeof(float));
    std::memcpy(data.data(), samples.data(), data.size());
    return std::make_shared<SoundSample>(time, format, frames, std::move(data));
}

constexpr support::MediaTime sessionBegin{1000s};

// A folder that goes with the test.
class TestFolder {
  public:
    explicit TestFolder(const std::string& parent = testing::TempDir()) : folder_(parent) {}
    std::string file(const std::string& name) const { return folder_ / name; }
    std::size_t count() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(folder_.path()), {}));
    }

  private:
    TemporaryFolder folder_;
};

constexpr AudioInputSettings soundSettings{
    .sampleRate = 48000, .channels = 2, .bitRate = 192000, .expectsMediaDataInRealTime = true};

inline VideoInputSettings pictureSettings(int width, int height, int frameRate = 30) {
    return {.width = width,
            .height = height,
            .averageBitRate = 2'000'000,
            .expectedSourceFrameRate = frameRate,
            .allowFrameReordering = false,
            .expectsMediaDataInRealTime = true};
}

// A writer with its inputs, a session that has begun at sessionBegin, and the time to feed it.
// Making the file takes as long as is said.
class Recording {
  public:
    Recording(std::string moviePath, int pictureWidth, int pictureHeight, int soundTracks,
              const MovieFileOptions& options = {}, const AudioInputSettings& sound = soundSettings,
              std::chrono::nanoseconds creation = 0ns)
        : path(std::move(moviePath)),
          width(pictureWidth),
          height(pictureHeight),
          reserve(options.reserve),
          writer(std::make_unique<LibavMovieWriter>(path, clock, options)) {
        clock.set(sessionBegin);
        writer->setShouldOptimizeForNetworkUse(true);
        video = writer->addVideoInput(pictureSettings(width, height));
        for (int index = 0; index < soundTracks; ++index)
            audio.push_back(writer->addAudioInput(sound));
        EXPECT_NE(video, nullptr);
        EXPECT_EQ(writer->status(), MovieWriterStatus::unknown);
        started = writer->startWriting();
        moveTo(creation);
        if (started) writer->startSession(sessionBegin);
    }

    // The clock never runs back.
    void moveTo(std::chrono::nanoseconds time) {
        clock.set(std::max(clock.hostTime(), sessionBegin + time));
    }
    // Waits, in real time, until the input takes a sample; false when the writer has failed.
    bool waitFor(const MovieWriterInput& input) const {
        while (!input.isReadyForMoreMediaData()) {
            if (writer->status() != MovieWriterStatus::writing) return false;
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }
    bool picture(std::chrono::nanoseconds time, Colour colour = {}) {
        return append(std::make_shared<PictureSample>(width, height, sessionBegin + time, colour));
    }
    bool append(const SampleBufferPtr& sample) {
        moveTo(*sample->presentationTime() - sessionBegin);
        return waitFor(*video) && video->append(sample);
    }
    bool sound(std::size_t track, const SampleBufferPtr& sample) {
        return waitFor(*audio[track]) && audio[track]->append(sample);
    }
    // Sound in buffers of 10 ms, whose frames are counted from the session's begin.
    void soundUpTo(std::size_t track, std::chrono::milliseconds from, std::chrono::milliseconds to,
                   const std::function<float(std::int64_t)>& value) {
        for (auto time = from; time < to; time += 10ms) {
            moveTo(time + 10ms);
            const auto first = time.count() * 48;
            EXPECT_TRUE(sound(track, floatSound(sessionBegin + time, 480, [&](std::int64_t frame) {
                                  return value(first + frame);
                              })));
        }
    }
    // Ends the movie at that time and waits for the writer. Returns how often it said so.
    int finish(std::chrono::nanoseconds time) {
        moveTo(time);
        video->markAsFinished();
        for (auto* input : audio)
            input->markAsFinished();
        return finishWriting();
    }
    int finishWriting() {
        std::atomic<int> calls{0};
        std::promise<void> done;
        writer->finishWriting([&] {
            if (calls++ == 0) done.set_value();
        });
        EXPECT_EQ(done.get_future().wait_for(30s), std::future_status::ready);
        lastStatus = writer->status();
        writer.reset();
        return calls;
    }

    const std::string path;
    const int width;
    const int height;
    const std::int64_t reserve;
    ManualClock clock;
    std::unique_ptr<LibavMovieWriter> writer;
    MovieWriterInput* video = nullptr;
    std::vector<MovieWriterInput*> audio;
    bool started = false;
    MovieWriterStatus lastStatus = MovieWriterStatus::unknown;
};

}  // namespace quorvane::platform::libav
