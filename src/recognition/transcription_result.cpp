#include "recognition/transcription_result.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace quorvane::recognition {
namespace {

// The name that parents look for; it stands for recognition on the device, by whatever engine.
constexpr const char* engineName = "apple-speech-on-device";

std::int64_t milliseconds(double seconds) {
    constexpr double beyond = 9223372036854775808.0;    // 2^63
    const double rounded = std::round(seconds * 1000);  // halves away from zero
    if (!(rounded >= -beyond && rounded < beyond)) std::abort();
    return static_cast<std::int64_t>(rounded);
}

}  // namespace

void encode(const TranscriptionSegment& segment, support::JsonObject& object) {
    object.member("startMs", segment.startMs);
    object.member("endMs", segment.endMs);
    object.member("text", segment.text);
    object.member("confidence", segment.confidence);
}

void encode(const TranscriptionResult& result, support::JsonObject& object) {
    object.member("engine", result.engine);
    object.member("locale", result.locale);
    object.member("text", result.text);
    object.member("segments", result.segments);
}

TranscriptionResult transcriptionResult(const platform::SpeechRecognitionResult& from,
                                        const std::string& localeIdentifier) {
    const auto& transcription = from.bestTranscription;
    TranscriptionResult result;
    result.engine = engineName;
    result.locale = localeIdentifier;
    result.text = transcription.formattedString;
    result.segments.reserve(transcription.segments.size());
    for (const auto& segment : transcription.segments) {
        const auto start = std::max<std::int64_t>(0, milliseconds(segment.timestamp));
        // The end is rounded as a whole: a rounded start plus a rounded duration may be 1 ms off.
        const auto end = std::max(start, milliseconds(segment.timestamp + segment.duration));
        result.segments.push_back({start, end, segment.substring, segment.confidence});
    }
    return result;
}

}  // namespace quorvane::recognition
