// Several threads of a recogniser that call at the same moment, on the program's own queues.

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "recognition/transcribe.h"
#include "support/asio_dispatch.h"

namespace quorvane::recognition {
namespace {

using platform::SpeechRecognitionResult;

// Calls from two threads, one with a result and one with an error, twice each.
class RacingRecognizers final : public platform::SpeechRecognizers {
  public:
    std::shared_ptr<platform::SpeechRecognizer> makeSpeechRecognizer(const std::string&) override {
        return std::make_shared<Recognizer>(*this);
    }
    void requestAuthorization(AuthorizationHandler handler) override {
        threads.emplace_back([handler = std::move(handler)] {
            handler(platform::SpeechRecognizerAuthorizationStatus::authorized);
        });
    }

    std::vector<std::thread> threads;
    std::atomic<int> cancels{0};

  private:
    class Task final : public platform::SpeechRecognitionTask {
      public:
        explicit Task(std::atomic<int>& cancels) : cancels_(cancels) {}
        void cancel() override { ++cancels_; }

      private:
        std::atomic<int>& cancels_;
    };

    class Recognizer final : public platform::SpeechRecognizer {
      public:
        explicit Recognizer(RacingRecognizers& owner) : owner_(owner) {}
        bool isAvailable() const override { return true; }
        bool supportsOnDeviceRecognition() const override { return true; }
        std::shared_ptr<platform::SpeechRecognitionTask> recognitionTask(
            const platform::SpeechURLRecognitionRequest&, ResultHandler handler) override {
            const auto waiting = std::make_shared<std::atomic<int>>(2);
            for (const bool fails : {false, true}) {
                owner_.threads.emplace_back([fails, handler, waiting] {
                    SpeechRecognitionResult result;
                    result.isFinal = true;
                    result.bestTranscription.formattedString = "heard";
                    const auto error = std::make_exception_ptr(std::runtime_error("lost"));
                    for (--*waiting; *waiting > 0;) {  // both at the same moment
                    }
                    for (int call = 0; call < 2; ++call)
                        handler(fails ? nullptr : &result, fails ? error : nullptr);
                });
            }
            return std::make_shared<Task>(owner_.cancels);
        }

      private:
        RacingRecognizers& owner_;
    };
};

TEST(TranscribeRace, EndsOnceWhenAResultAndAnErrorComeTogether) {
    int results = 0;
    int errors = 0;
    constexpr int rounds = 200;
    for (int round = 0; round < rounds; ++round) {
        support::AsioDispatch dispatch;
        RacingRecognizers recognizers;
        const auto run = [](support::AsioDispatch& queues, RacingRecognizers& racing, int& heard,
                            int& lost) -> support::Async<> {
            try {
                const cli::TranscriptionRequest request{"talk.mp4", "en-US"};
                const auto result = co_await transcribe(request, racing, queues.mainQueue());
                EXPECT_EQ(result.text, "heard");
                ++heard;
            } catch (const std::runtime_error& error) {
                EXPECT_STREQ(error.what(), "lost");
                ++lost;
            }
            queues.stop();
        };
        support::startDetached(dispatch.mainQueue(), run(dispatch, recognizers, results, errors));
        dispatch.run();
        for (auto& thread : recognizers.threads)
            thread.join();
        EXPECT_LE(recognizers.cancels, 1);
    }
    EXPECT_EQ(results + errors, rounds);
}

}  // namespace
}  // namespace quorvane::recognition
