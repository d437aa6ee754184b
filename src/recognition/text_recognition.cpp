#include "recognition/text_recognition.h"

#include <algorithm>
#include <utility>

#include "cli/recorder_error.h"
#include "recognition/text_reading_order.h"

namespace quorvane::recognition {
namespace {

std::vector<std::string> recognitionLanguages(const std::string& localeIdentifier) {
    std::vector<std::string> languages;
    for (const auto& language : {localeIdentifier, std::string("en-US")}) {
        const bool known =
            std::find(languages.begin(), languages.end(), language) != languages.end();
        if (!language.empty() && !known) languages.push_back(language);
    }
    return languages;
}

std::string joined(const std::vector<TextRecognitionObservation>& observations) {
    std::string text;
    for (const auto& observation : observations) {
        if (&observation != &observations.front()) text += '\n';
        text += observation.text;
    }
    return text;
}

}  // namespace

platform::Image loadCGImage(const std::string& path, platform::ImageSource& images) {
    auto image = images.firstImage(path);
    if (!image)
        throw cli::RecorderError::unavailable("Could not load the image for text recognition.");
    return *std::move(image);
}

TextRecognitionResult recognizeText(const cli::TextRecognitionRequest& request,
                                    platform::ImageSource& images,
                                    platform::TextRecognizer& recognizer) {
    const auto image = loadCGImage(request.inputPath, images);
    const auto recognized = recognizer.recognizeText(
        image, {.recognitionLevel = platform::TextRecognitionLevel::accurate,
                .usesLanguageCorrection = true,
                .recognitionLanguages = recognitionLanguages(request.localeIdentifier)});
    std::vector<TextRecognitionObservation> observations;
    for (const auto& observation : recognized) {
        if (observation.candidates.empty()) continue;
        const auto& best = observation.candidates.front();
        const auto& box = observation.boundingBox;
        // As the recogniser gives it.
        observations.push_back(
            {best.string, best.confidence, {box.x, box.y, box.width, box.height}});
    }
    TextRecognitionResult result;
    result.locale = request.localeIdentifier;
    result.observations = sortTextRecognitionObservations(std::move(observations));
    result.text = joined(result.observations);
    return result;
}

}  // namespace quorvane::recognition
