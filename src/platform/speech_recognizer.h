// The port to the recogniser of speech in media files.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quorvane::platform {

enum class SpeechRecognizerAuthorizationStatus { notDetermined, denied, restricted, authorized };

// What is to be recognised: the first sound track of a file.
struct SpeechURLRecognitionRequest {
    std::string path;
    bool shouldReportPartialResults = true;
    bool requiresOnDeviceRecognition = false;  // no sound leaves the machine
};

// One word.
struct SpeechTranscriptionSegment {
    std::string substring;
    double timestamp = 0;  // seconds from the begin of the media
    double duration = 0;   // seconds
    float confidence = 0;  // 0 to 1
};

struct SpeechTranscription {
    std::string formattedString;  // the whole text, as well as the recogniser can write it
    std::vector<SpeechTranscriptionSegment> segments;  // in the order of time
};

struct SpeechRecognitionResult {
    SpeechTranscription bestTranscription;
    bool isFinal = false;
};

class SpeechRecognitionTask {
  public:
    // Cancels the task.
    virtual ~SpeechRecognitionTask() = default;
    // The recogniser stops working as soon as it can. Any thread; idempotent.
    virtual void cancel() = 0;
};

// Recognises speech of one language. Threads: one at a time.
class SpeechRecognizer {
  public:
    // Called on a thread of the recogniser: with a result, or with an error and no result (null).
    // After an error or a final result nothing of use follows.
    using ResultHandler =
        std::function<void(const SpeechRecognitionResult* result, std::exception_ptr error)>;

    virtual ~SpeechRecognizer() = default;
    // Whether it can work now.
    virtual bool isAvailable() const = 0;
    // Whether it can work without sending the sound anywhere.
    virtual bool supportsOnDeviceRecognition() const = 0;
    // Starts the work and returns; the handler may have been called by then. What goes wrong later
    // reaches the handler. Throws only when the work cannot be started at all.
    virtual std::shared_ptr<SpeechRecognitionTask> recognitionTask(
        const SpeechURLRecognitionRequest& request, ResultHandler resultHandler) = 0;
};

class SpeechRecognizers {
  public:
    using AuthorizationHandler = std::function<void(SpeechRecognizerAuthorizationStatus status)>;

    virtual ~SpeechRecognizers() = default;
    // Null when there is none for the locale, which is any text.
    virtual std::shared_ptr<SpeechRecognizer> makeSpeechRecognizer(
        const std::string& localeIdentifier) = 0;
    // Asks the user if need be. The handler is called exactly once, on any thread.
    virtual void requestAuthorization(AuthorizationHandler handler) = 0;
};

}  // namespace quorvane::platform
