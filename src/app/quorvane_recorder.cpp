#include "app/quorvane_recorder.h"

#include <exception>
#include <string>
#include <utility>

#include "app/output.h"
#include "app/self_test.h"
#include "cli/recorder_error.h"
#include "cli/recording_request.h"
#include "cli/transcription_request.h"
#include "recognition/text_recognition.h"
#include "recognition/transcribe.h"
#include "session/record.h"
#include "sources/audio_device.h"
#include "sources/capabilities.h"
#include "sources/permissions.h"
#include "sources/shareable_sources.h"
#include "webcam/webcam_preview.h"

namespace quorvane::app {
namespace {

support::Async<> dispatch(const cli::Arguments& arguments, platform::Platform& platform,
                          control::RecorderEvents& events) {
    const std::string word = arguments.empty() ? "" : arguments.front();
    if (word == "--list-devices") {
        writeJSON(sources::listAudioDevices(platform.audioDevices));
    } else if (word == "--capabilities") {
        writeJSON(sources::RecorderCapabilities{.supportsScreenCaptureKitRecorder = true,
                                                .supportsSystemAudio = true,
                                                .supportsMicrophoneSelection = true});
    } else if (word == "--permission-status") {
        writeJSON(sources::permissionStatus(platform.permissions));
    } else if (word == "--request-permissions") {
        writeJSON(co_await sources::requestPermissions(arguments, platform));
    } else if (word == "--self-test") {
        runRecorderSelfTests();
        printLine("Quorvane recorder self-test passed");
    } else if (word == "list-sources") {
        writeJSON(co_await sources::listShareableSources(platform));
    } else if (word == "record") {
        auto request = cli::parseRecordingRequest(arguments);
        co_await session::record(std::move(request), platform, events);
    } else if (word == "recognize-text") {
        const auto request = cli::parseTranscriptionRequest<cli::TextRecognitionRequest>(
            arguments, platform.userLocale.currentLocaleIdentifier());
        writeJSON(recognition::recognizeText(request, platform.images, platform.textRecognizer));
    } else if (word == "transcribe") {
        auto request = cli::parseTranscriptionRequest<cli::TranscriptionRequest>(
            arguments, platform.userLocale.currentLocaleIdentifier());
        writeJSON(co_await recognition::transcribe(std::move(request), platform.speechRecognizers,
                                                   platform.dispatch.mainQueue()));
    } else if (word == "webcam-preview") {
        exitProcess(co_await webcam::runWebcamPreview(arguments, platform));
    } else {
        throw cli::RecorderError::invalidArgument("command");
    }
}

}  // namespace

support::Async<> QuorvaneRecorder::main(cli::Arguments arguments, platform::Platform& platform,
                                        control::RecorderEvents& events) {
    try {
        co_await dispatch(arguments, platform, events);
    } catch (...) {
        fail(std::current_exception());
    }
}

}  // namespace quorvane::app
