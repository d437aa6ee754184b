#include "recognition/transcribe.h"

#include <memory>
#include <utility>

#include "cli/recorder_error.h"
#include "support/mutex.h"

namespace quorvane::recognition {
namespace {

using cli::RecorderError;
using platform::SpeechRecognitionResult;
using platform::SpeechRecognizerAuthorizationStatus;
using Waiter = support::Continuation<TranscriptionResult>;

RecorderError noRecognizer(const std::string& localeIdentifier) {
    return RecorderError::unavailable("On-device transcription is not available for " +
                                      localeIdentifier + ".");
}

// The task of one transcription, once it is known. A result may come before.
class TaskHolder {
  public:
    void hold(std::shared_ptr<platform::SpeechRecognitionTask> task) {
        support::MutexLock lock(lock_);
        task_ = std::move(task);
    }
    std::shared_ptr<platform::SpeechRecognitionTask> take() {
        support::MutexLock lock(lock_);
        return std::move(task_);
    }

  private:
    support::Mutex lock_;
    std::shared_ptr<platform::SpeechRecognitionTask> task_ QUORVANE_GUARDED_BY(lock_);
};

// Resumes the waiter once, by the first error or final result; whatever comes later is ignored.
// Threads: any, several at once.
class Completion {
  public:
    Completion(Waiter waiter, std::string localeIdentifier)
        : waiter_(std::move(waiter)), localeIdentifier_(std::move(localeIdentifier)) {}

    TaskHolder& task() { return task_; }

    void handle(const SpeechRecognitionResult* result, const std::exception_ptr& error) {
        if (error) {
            if (resumeNow()) waiter_.resumeThrowing(error);
        } else if (result != nullptr && result->isFinal) {
            auto transcript = transcriptionResult(*result, localeIdentifier_);
            if (resumeNow()) waiter_.resume(std::move(transcript));
        }
    }

  private:
    // Whether the caller is the one that resumes the waiter. The task has been cancelled then.
    bool resumeNow() {
        {
            support::MutexLock lock(lock_);
            if (std::exchange(resumed_, true)) return false;
        }
        if (const auto task = task_.take()) task->cancel();
        return true;
    }

    support::Mutex lock_;
    bool resumed_ QUORVANE_GUARDED_BY(lock_) = false;
    Waiter waiter_;  // touched by the one call that set resumed_
    const std::string localeIdentifier_;
    TaskHolder task_;
};

}  // namespace

support::Async<SpeechRecognizerAuthorizationStatus> requestSpeechRecognitionAccess(
    platform::SpeechRecognizers& recognizers, support::Queue& queue) {
    using Answer = support::Continuation<SpeechRecognizerAuthorizationStatus>;
    co_return co_await support::suspend<SpeechRecognizerAuthorizationStatus>(
        queue, [&recognizers](Answer answer) {
            recognizers.requestAuthorization(
                [answer = std::move(answer)](SpeechRecognizerAuthorizationStatus status) mutable {
                    answer.resume(status);
                });
        });
}

support::Async<TranscriptionResult> transcribe(cli::TranscriptionRequest request,
                                               platform::SpeechRecognizers& recognizers,
                                               support::Queue& queue) {
    const auto recognizer = recognizers.makeSpeechRecognizer(request.localeIdentifier);
    if (!recognizer) throw noRecognizer(request.localeIdentifier);
    if (!recognizer->isAvailable())
        throw RecorderError::unavailable("Speech recognition is not currently available.");
    if (!recognizer->supportsOnDeviceRecognition()) throw noRecognizer(request.localeIdentifier);
    const auto status = co_await requestSpeechRecognitionAccess(recognizers, queue);
    if (status != SpeechRecognizerAuthorizationStatus::authorized) {
        throw RecorderError::unavailable(
            "Speech recognition permission is required for local transcription.");
    }
    const platform::SpeechURLRecognitionRequest recognition{.path = request.inputPath,
                                                            .shouldReportPartialResults = false,
                                                            .requiresOnDeviceRecognition = true};
    // All by value: a result that comes early ends this operation while the task is being started.
    // A variable of its own: the compiler destroys what such a temporary captures twice.
    auto start = [recognizer, recognition, locale = request.localeIdentifier](Waiter waiter) {
        const auto completion = std::make_shared<Completion>(std::move(waiter), locale);
        try {
            completion->task().hold(recognizer->recognitionTask(
                recognition, [completion](const SpeechRecognitionResult* result,
                                          const std::exception_ptr& error) {
                    completion->handle(result, error);
                }));
        } catch (...) {
            completion->handle(nullptr, std::current_exception());
        }
    };
    co_return co_await support::suspend<TranscriptionResult>(queue, std::move(start));
}

}  // namespace quorvane::recognition
