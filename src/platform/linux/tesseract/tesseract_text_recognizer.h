// The text recogniser: Tesseract's LSTM engine on lines that are found and prepared for it.
#pragma once

#include "platform/text_recognizer.h"

namespace quorvane::platform::tesseract {

// Uses as many threads as there are processors, four at most, for the time of a call.
class TesseractTextRecognizer final : public TextRecognizer {
  public:
    std::vector<RecognizedTextObservation> recognizeText(
        const Image& image, const TextRecognitionSettings& settings) override;
};

}  // namespace quorvane::platform::tesseract
