#include "cli/transcription_request.h"

#include "cli/recorder_error.h"

namespace quorvane::cli {

template <class Request>
Request parseTranscriptionRequest(const Arguments& arguments,
                                  const std::string& currentLocaleIdentifier) {
    Request request;
    request.inputPath = argumentValue("--input", arguments).value_or("");
    if (request.inputPath.empty()) throw RecorderError::missingArgument("--input");
    request.localeIdentifier =
        argumentValue("--locale", arguments).value_or(currentLocaleIdentifier);
    return request;
}

template TranscriptionRequest parseTranscriptionRequest(const Arguments&, const std::string&);
template TextRecognitionRequest parseTranscriptionRequest(const Arguments&, const std::string&);

}  // namespace quorvane::cli
