// The adapter on the installed model of US English, with sound that the tests make.

#include "platform/linux/pocketsphinx/pocketsphinx_speech_recognizers.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/platform_error.h"

namespace quorvane::platform::pocketsphinx {
namespace {

// Sound from memory; fails where it is told to.
class MemorySound final : public SoundReaders {
  public:
    std::unique_ptr<SoundReader> openSound(const std::string& path, int sampleRate) override {
        EXPECT_EQ(path, "talk.wav");
        EXPECT_EQ(sampleRate, 16000);
        if (openFails) throw PlatformError("POSIX", 2, "Could not open talk.wav: No such file");
        return std::make_unique<Reader>(*this);
    }

    std::vector<std::int16_t> samples;
    bool openFails = false;
    std::optional<std::size_t> failsAt;
    bool endless = false;
    std::atomic<std::size_t> reads{0};

  private:
    class Reader final : public SoundReader {
      public:
        explicit Reader(MemorySound& owner) : owner_(owner) {}
        std::size_t read(std::span<std::int16_t> into) override {
            ++owner_.reads;
            if (owner_.failsAt && at_ >= *owner_.failsAt)
                throw PlatformError("libav", -1, "Could not read talk.wav");
            if (owner_.endless) {
                std::fill(into.begin(), into.end(), std::int16_t{0});
                return into.size();
            }
            const auto count = std::min(into.size(), owner_.samples.size() - at_);
            std::copy_n(owner_.samples.begin() + static_cast<std::ptrdiff_t>(at_), count,
                        into.begin());
            at_ += count;
            return count;
        }

      private:
        MemorySound& owner_;
        std::size_t at_ = 0;
    };
};

struct Outcome {
    std::optional<SpeechRecognitionResult> result;
    std::string error;
    int partialResults = 0;
};

class PocketSphinx : public testing::Test {
  protected:
    Outcome recognize(bool partialResults = false) {
        const auto recognizer = recognizers.makeSpeechRecognizer("en-US");
        EXPECT_NE(recognizer, nullptr);
        EXPECT_TRUE(recognizer->isAvailable());
        EXPECT_TRUE(recognizer->supportsOnDeviceRecognition());
        Outcome outcome;
        std::promise<void> ended;
        const auto task = recognizer->recognitionTask(
            {"talk.wav", partialResults, true},
            [&](const SpeechRecognitionResult* result, const std::exception_ptr& error) {
                if (result != nullptr && !result->isFinal) {
                    ++outcome.partialResults;
                    return;
                }
                if (result != nullptr) outcome.result = *result;
                try {
                    if (error) std::rethrow_exception(error);
                } catch (const PlatformError& failure) {
                    outcome.error = failure.domain() + ": " + failure.description();
                }
                ended.set_value();
            });
        ended.get_future().wait();
        return outcome;
    }

    // A vowel-like buzz.
    void buzz(double seconds) {
        const auto count = static_cast<int>(seconds * 16000);
        for (int at = 0; at < count; ++at) {
            const double time = at / 16000.0;
            sound.samples.push_back(static_cast<std::int16_t>(
                4000 * std::sin(2 * M_PI * 120 * time) + 3000 * std::sin(2 * M_PI * 720 * time) +
                2000 * std::sin(2 * M_PI * 1200 * time)));
        }
    }

    MemorySound sound;
    PocketSphinxSpeechRecognizers recognizers{sound};
};

TEST_F(PocketSphinx, HasARecognizerForEveryRegionOfEnglishAndNoOther) {
    for (const char* locale : {"en-US", "en_US", "en_US.UTF-8", "en-GB", "en"}) {
        SCOPED_TRACE(locale);
        EXPECT_NE(recognizers.makeSpeechRecognizer(locale), nullptr);
    }
    for (const char* locale : {"tlh", "", "xx-US"}) {
        SCOPED_TRACE(locale);
        EXPECT_EQ(recognizers.makeSpeechRecognizer(locale), nullptr);
    }
}

TEST_F(PocketSphinx, HasNoneWithoutModels) {
    PocketSphinxSpeechRecognizers none(sound, "/nonexistent");
    EXPECT_EQ(none.makeSpeechRecognizer("en-US"), nullptr);
}

TEST_F(PocketSphinx, NeedsNoPermission) {
    std::optional<SpeechRecognizerAuthorizationStatus> answer;
    recognizers.requestAuthorization([&](auto status) { answer = status; });
    EXPECT_EQ(answer, SpeechRecognizerAuthorizationStatus::authorized);
}

TEST_F(PocketSphinx, SilenceIsAnEmptyFinalResult) {
    for (const std::size_t samples : {std::size_t{0}, std::size_t{1}, std::size_t{160000}}) {
        SCOPED_TRACE(samples);
        sound.samples.assign(samples, 0);
        const auto outcome = recognize();
        EXPECT_EQ(outcome.error, "");
        ASSERT_TRUE(outcome.result.has_value());
        EXPECT_TRUE(outcome.result->isFinal);
        EXPECT_EQ(outcome.result->bestTranscription.formattedString, "");
        EXPECT_TRUE(outcome.result->bestTranscription.segments.empty());
    }
}

TEST_F(PocketSphinx, WhateverItHearsItsWordsAreInOrderAndWithinTheSound) {
    sound.samples.assign(16000, 0);
    buzz(2);
    sound.samples.resize(sound.samples.size() + 5 * 16000, 0);
    buzz(1);
    const auto outcome = recognize(true);
    ASSERT_TRUE(outcome.result.has_value());
    EXPECT_EQ(outcome.partialResults, 2);  // a piece before the long pause, and one behind it
    double last = 0.7;
    std::string text;
    for (const auto& segment : outcome.result->bestTranscription.segments) {
        EXPECT_GE(segment.timestamp, last);
        EXPECT_GT(segment.duration, 0);
        EXPECT_GE(segment.confidence, 0);
        EXPECT_LE(segment.confidence, 1);
        EXPECT_EQ(segment.substring.find_first_of("<>[]()+ "), std::string::npos);
        last = segment.timestamp + segment.duration - 1e-9;
        text += (text.empty() ? "" : " ") + segment.substring;
    }
    EXPECT_LE(last, 9.1);
    EXPECT_EQ(outcome.result->bestTranscription.formattedString, text);
}

TEST_F(PocketSphinx, TheErrorsOfTheSoundAreItsErrors) {
    sound.openFails = true;
    EXPECT_EQ(recognize().error, "POSIX: Could not open talk.wav: No such file");
    sound.openFails = false;
    sound.samples.assign(160000, 0);
    sound.failsAt = 32000;
    const auto outcome = recognize();
    EXPECT_EQ(outcome.error, "libav: Could not read talk.wav");
    EXPECT_FALSE(outcome.result.has_value());
}

TEST_F(PocketSphinx, ACancelledTaskEndsAndSaysNothing) {
    sound.endless = true;
    std::atomic<int> calls{0};
    const auto recognizer = recognizers.makeSpeechRecognizer("en-US");
    auto task = recognizer->recognitionTask(
        {"talk.wav", true, true},
        [&](const SpeechRecognitionResult*, const std::exception_ptr&) { ++calls; });
    while (sound.reads < 3)
        std::this_thread::yield();
    task->cancel();
    task->cancel();
    task.reset();  // waits for the thread
    const auto reads = sound.reads.load();
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(sound.reads, reads);
}

TEST_F(PocketSphinx, ATaskMayGoInsideItsHandler) {
    sound.samples.assign(16000, 0);
    const auto recognizer = recognizers.makeSpeechRecognizer("en-US");
    struct Holder {
        std::promise<void> started;
        std::shared_ptr<SpeechRecognitionTask> task;
    };
    const auto holder = std::make_shared<Holder>();
    std::promise<void> ended;
    holder->task = recognizer->recognitionTask(
        {"talk.wav", false, true}, [&ended, holder, ready = holder->started.get_future().share()](
                                       const SpeechRecognitionResult*, const std::exception_ptr&) {
            ready.wait();
            holder->task.reset();
            ended.set_value();
        });
    holder->started.set_value();
    ended.get_future().wait();
}

}  // namespace
}  // namespace quorvane::platform::pocketsphinx
