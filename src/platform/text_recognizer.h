// The port to the recogniser of text in images.
#pragma once

#include <string>
#include <vector>

#include "platform/image_source.h"
#include "support/geometry.h"

namespace quorvane::platform {

enum class TextRecognitionLevel { fast, accurate };

struct TextRecognitionSettings {
    TextRecognitionLevel recognitionLevel = TextRecognitionLevel::accurate;
    bool usesLanguageCorrection = false;
    // Locale identifiers, the first counts most; not checked by anyone before.
    std::vector<std::string> recognitionLanguages;
};

struct RecognizedText {
    std::string string;
    float confidence = 0;  // 0 to 1
};

// One line of text.
struct RecognizedTextObservation {
    std::vector<RecognizedText> candidates;  // the best first; may be empty
    // Normalised: 0 to 1 on both axes, origin at the image's lower left corner, y upwards.
    support::Rect boundingBox;
};

class TextRecognizer {
  public:
    virtual ~TextRecognizer() = default;
    // Returns when it is done; an image without text gives nothing. Throws PlatformError.
    virtual std::vector<RecognizedTextObservation> recognizeText(
        const Image& image, const TextRecognitionSettings& settings) = 0;
};

}  // namespace quorvane::platform
