// Speech recognition, scripted: it says what a test lets it say.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/speech_recognizer.h"

namespace quorvane::simulation {

class SimSpeechRecognizers final : public platform::SpeechRecognizers {
  public:
    using Status = platform::SpeechRecognizerAuthorizationStatus;
    using Handler = platform::SpeechRecognizer::ResultHandler;

    std::shared_ptr<platform::SpeechRecognizer> makeSpeechRecognizer(
        const std::string& localeIdentifier) override {
        locales.push_back(localeIdentifier);
        if (!exists) return nullptr;
        return std::make_shared<Recognizer>(*this);
    }
    void requestAuthorization(AuthorizationHandler answer) override {
        ++authorizationRequests;
        answer(status);
    }

    // The script.
    bool exists = true;
    bool available = true;
    bool onDevice = true;
    Status status = Status::authorized;
    std::function<void(const Handler&)> whileStarting;  // runs inside recognitionTask()
    std::exception_ptr startError;                      // recognitionTask() throws it

    // What was asked for.
    std::vector<std::string> locales;
    int authorizationRequests = 0;
    std::optional<platform::SpeechURLRecognitionRequest> request;
    Handler handler;  // of the task that was started
    int cancels = 0;

  private:
    class Task final : public platform::SpeechRecognitionTask {
      public:
        explicit Task(SimSpeechRecognizers& owner) : owner_(owner) {}
        void cancel() override { ++owner_.cancels; }

      private:
        SimSpeechRecognizers& owner_;
    };

    class Recognizer final : public platform::SpeechRecognizer {
      public:
        explicit Recognizer(SimSpeechRecognizers& owner) : owner_(owner) {}
        bool isAvailable() const override { return owner_.available; }
        bool supportsOnDeviceRecognition() const override { return owner_.onDevice; }
        std::shared_ptr<platform::SpeechRecognitionTask> recognitionTask(
            const platform::SpeechURLRecognitionRequest& asked,
            ResultHandler resultHandler) override {
            owner_.request = asked;
            if (owner_.startError) std::rethrow_exception(owner_.startError);
            if (owner_.whileStarting) owner_.whileStarting(resultHandler);
            owner_.handler = std::move(resultHandler);
            return std::make_shared<Task>(owner_);
        }

      private:
        SimSpeechRecognizers& owner_;
    };
};

}  // namespace quorvane::simulation
