#include "recognition/transcribe.h"

#include <stdexcept>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/error_text.h"
#include "simulation/sim_dispatch.h"
#include "simulation/sim_speech.h"

namespace quorvane::recognition {
namespace {

using platform::SpeechRecognitionResult;
using simulation::SimSpeechRecognizers;
using testing::ElementsAre;

SpeechRecognitionResult finalResult(const std::string& text) {
    return {.bestTranscription = {.formattedString = text, .segments = {{text, 1, 0.5, 0.5F}}},
            .isFinal = true};
}

std::exception_ptr error(const char* text) {
    return std::make_exception_ptr(std::runtime_error(text));
}

class Transcribe : public testing::Test {
  protected:
    // Ends what has not ended.
    ~Transcribe() override {
        if (recognizers.handler) say(nullptr, error("over"));
    }
    // Runs it as far as it goes by itself.
    void start(std::string locale = "en-US") {
        const auto run = [](Transcribe& self, std::string localeIdentifier) -> support::Async<> {
            try {
                const cli::TranscriptionRequest request{"talk.mp4", std::move(localeIdentifier)};
                const auto result =
                    co_await transcribe(request, self.recognizers, self.dispatch.mainQueue());
                self.outcomes.push_back(result.locale + ": " + result.text);
            } catch (...) {
                self.outcomes.push_back("error: " + cli::failureLine(std::current_exception()));
            }
        };
        support::startDetached(dispatch.mainQueue(), run(*this, std::move(locale)));
        dispatch.settle();
    }
    // One call of the recogniser.
    void say(const SpeechRecognitionResult* result, const std::exception_ptr& failure) {
        recognizers.handler(result, failure);
        dispatch.settle();
    }

    simulation::SimDispatch dispatch{1};
    SimSpeechRecognizers recognizers;
    std::vector<std::string> outcomes;
};

TEST_F(Transcribe, AsksTheRecognizerBeforeTheUser) {
    using Status = SimSpeechRecognizers::Status;
    struct Row {
        const char* name;
        bool exists;
        bool available;
        bool onDevice;
        Status status;
        const char* outcome;
        int questions;
    };
    const char* none =
        "error: On-device transcription is not available for tlh. (main.RecorderError 2)";
    const char* notNow =
        "error: Speech recognition is not currently available. (main.RecorderError 2)";
    const char* refused =
        "error: Speech recognition permission is required for local transcription. "
        "(main.RecorderError 2)";
    const Row rows[] = {
        {"no recogniser", false, true, true, Status::authorized, none, 0},
        {"not available", true, false, true, Status::authorized, notNow, 0},
        {"neither available nor on the device", true, false, false, Status::denied, notNow, 0},
        {"on a server only", true, true, false, Status::authorized, none, 0},
        {"denied", true, true, true, Status::denied, refused, 1},
        {"restricted", true, true, true, Status::restricted, refused, 1},
        {"not determined", true, true, true, Status::notDetermined, refused, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        recognizers.exists = row.exists;
        recognizers.available = row.available;
        recognizers.onDevice = row.onDevice;
        recognizers.status = row.status;
        recognizers.authorizationRequests = 0;
        outcomes.clear();
        start("tlh");
        EXPECT_THAT(outcomes, ElementsAre(row.outcome));
        EXPECT_EQ(recognizers.authorizationRequests, row.questions);
        EXPECT_FALSE(recognizers.request.has_value());
    }
}

TEST_F(Transcribe, PutsTheLocaleIntoTheTextAsItIs) {
    recognizers.exists = false;
    start("");
    EXPECT_THAT(recognizers.locales, ElementsAre(""));
    EXPECT_THAT(
        outcomes,
        ElementsAre(
            "error: On-device transcription is not available for . (main.RecorderError 2)"));
}

TEST_F(Transcribe, AsksForAFinalResultFromTheDevice) {
    start();
    ASSERT_TRUE(recognizers.request.has_value());
    EXPECT_EQ(recognizers.request->path, "talk.mp4");
    EXPECT_FALSE(recognizers.request->shouldReportPartialResults);
    EXPECT_TRUE(recognizers.request->requiresOnDeviceRecognition);
    EXPECT_EQ(recognizers.authorizationRequests, 1);
    EXPECT_THAT(outcomes, ElementsAre());
}

TEST_F(Transcribe, EndsOnceWithWhatComesFirst) {
    struct Call {
        const char* text;  // null: no result
        bool isFinal;
        const char* error;  // null: none
    };
    struct Row {
        const char* name;
        std::vector<Call> calls;
        std::vector<std::string> outcomes;
        int cancels;
    };
    const Row rows[] = {
        {"a final result", {{"one", true, nullptr}}, {"en-US: one"}, 1},
        {"an error", {{nullptr, false, "lost"}}, {"error: lost (Exception 0)"}, 1},
        {"an error beside a final result",
         {{"one", true, "lost"}},
         {"error: lost (Exception 0)"},
         1},
        {"an error after the result",
         {{"one", true, nullptr}, {nullptr, false, "lost"}},
         {"en-US: one"},
         1},
        {"a result after the error",
         {{nullptr, false, "lost"}, {"one", true, nullptr}},
         {"error: lost (Exception 0)"},
         1},
        {"two results", {{"one", true, nullptr}, {"two", true, nullptr}}, {"en-US: one"}, 1},
        {"two errors",
         {{nullptr, false, "a"}, {nullptr, false, "b"}},
         {"error: a (Exception 0)"},
         1},
        {"what is not final", {{"on", false, nullptr}, {"one", true, nullptr}}, {"en-US: one"}, 1},
        {"a call with nothing",
         {{nullptr, false, nullptr}, {"one", true, nullptr}},
         {"en-US: one"},
         1},
        {"nothing final at all", {{"on", false, nullptr}, {nullptr, false, nullptr}}, {}, 0},
        {"a final result without words", {{"", true, nullptr}}, {"en-US: "}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        outcomes.clear();
        recognizers.cancels = 0;
        start();
        for (const auto& call : row.calls) {
            auto result = finalResult(call.text == nullptr ? "" : call.text);
            result.isFinal = call.isFinal;
            say(call.text == nullptr ? nullptr : &result,
                call.error == nullptr ? nullptr : error(call.error));
        }
        EXPECT_EQ(outcomes, row.outcomes);
        EXPECT_EQ(recognizers.cancels, row.cancels);
        say(nullptr, error("over"));
        recognizers.handler = nullptr;
    }
}

TEST_F(Transcribe, AResultBeforeTheTaskIsKnownCancelsNothing) {
    recognizers.whileStarting = [](const SimSpeechRecognizers::Handler& handler) {
        const auto result = finalResult("early");
        handler(&result, nullptr);
    };
    start();
    EXPECT_THAT(outcomes, ElementsAre("en-US: early"));
    EXPECT_EQ(recognizers.cancels, 0);
}

TEST_F(Transcribe, ATaskThatCannotStartIsTheError) {
    recognizers.startError = error("no more threads");
    start();
    EXPECT_THAT(outcomes, ElementsAre("error: no more threads (Exception 0)"));
}

}  // namespace
}  // namespace quorvane::recognition
