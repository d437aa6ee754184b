// The document that recognize-text prints.
#pragma once

#include <string>
#include <vector>

#include "sources/shareable_rect.h"
#include "support/json.h"

namespace quorvane::recognition {

// One line of text.
struct TextRecognitionObservation {
    std::string text;
    float confidence = 0;  // 0 to 1
    // Normalised: 0 to 1 on both axes, origin at the image's lower left corner, y upwards.
    sources::ShareableRect boundingBox;
};

struct TextRecognitionResult {
    std::string engine = "apple-vision";  // the name that parents look for
    std::string locale;                   // the request's, as given
    std::string text;                     // of all observations, a line feed between them
    std::vector<TextRecognitionObservation> observations;  // in reading order
};

inline void encode(const TextRecognitionObservation& observation, support::JsonObject& object) {
    object.member("text", observation.text);
    object.member("confidence", observation.confidence);
    object.member("boundingBox", observation.boundingBox);
}

inline void encode(const TextRecognitionResult& result, support::JsonObject& object) {
    object.member("engine", result.engine);
    object.member("locale", result.locale);
    object.member("text", result.text);
    object.member("observations", result.observations);
}

}  // namespace quorvane::recognition
