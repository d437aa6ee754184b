// The transcript of a recording, for the parent to read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/speech_recognizer.h"
#include "support/json.h"

namespace quorvane::recognition {

// One recognised word.
struct TranscriptionSegment {
    std::int64_t startMs = 0;  // from the media's begin; never below 0
    std::int64_t endMs = 0;    // never below startMs
    std::string text;
    float confidence = 0;  // 0 to 1

    bool operator==(const TranscriptionSegment&) const = default;
};

struct TranscriptionResult {
    std::string engine;
    std::string locale;                          // the request's, exactly as given
    std::string text;                            // the whole transcript
    std::vector<TranscriptionSegment> segments;  // in the order of time

    bool operator==(const TranscriptionResult&) const = default;
};

void encode(const TranscriptionSegment& segment, support::JsonObject& object);
void encode(const TranscriptionResult& result, support::JsonObject& object);

// The transcript of a final result. Times are rounded to the nearest millisecond, halves up.
// Threads: pure, any. Errors: a time that 64 bits of milliseconds cannot hold, or that is no
// number, ends the process: no recogniser of finite media has one.
TranscriptionResult transcriptionResult(const platform::SpeechRecognitionResult& from,
                                        const std::string& localeIdentifier);

}  // namespace quorvane::recognition
