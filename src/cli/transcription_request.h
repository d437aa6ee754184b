// What the transcribe and recognize-text sub-commands are asked to do.
#pragma once

#include <string>

#include "cli/arguments.h"

namespace quorvane::cli {

struct TranscriptionRequest {
    std::string inputPath;         // of the sound or movie; not empty
    std::string localeIdentifier;  // as given, unchecked; may be empty
};

struct TextRecognitionRequest {
    std::string inputPath;         // of the image; not empty
    std::string localeIdentifier;  // as given, unchecked; may be empty
};

// One parser for both: Request is one of the two above. The user's locale is taken when none is
// given. Threads: pure, any. Errors: RecorderError.
template <class Request>
Request parseTranscriptionRequest(const Arguments& arguments,
                                  const std::string& currentLocaleIdentifier);

}  // namespace quorvane::cli
