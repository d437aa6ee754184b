// The transcribe sub-command: the speech of a file as text with a time for every word.
#pragma once

#include "cli/transcription_request.h"
#include "platform/speech_recognizer.h"
#include "recognition/transcription_result.h"
#include "support/async.h"
#include "support/dispatch.h"

namespace quorvane::recognition {

// Recognises on the device only, and asks for the permission only when there is a recogniser that
// can. There is no time limit: a recogniser that says nothing is waited for.
// The recognisers and the queue, which it runs on, outlive the operation. Errors: RecorderError
// unavailable before the recognition, PlatformError from it.
support::Async<TranscriptionResult> transcribe(cli::TranscriptionRequest request,
                                               platform::SpeechRecognizers& recognizers,
                                               support::Queue& queue);

// What the user, or the platform, says to speech recognition. Never fails.
support::Async<platform::SpeechRecognizerAuthorizationStatus> requestSpeechRecognitionAccess(
    platform::SpeechRecognizers& recognizers, support::Queue& queue);

}  // namespace quorvane::recognition
