// The services behind text recognition, scripted.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "platform/image_source.h"
#include "platform/text_recognizer.h"

namespace quorvane::simulation {

class SimImages final : public platform::ImageSource {
  public:
    std::optional<platform::Image> firstImage(const std::string& path) override {
        opened.push_back(path);
        return image;
    }
    std::optional<platform::Image> image = platform::Image{1, 1, {255, 255, 255}};
    std::vector<std::string> opened;
};

class SimTextRecognizer final : public platform::TextRecognizer {
  public:
    std::vector<platform::RecognizedTextObservation> recognizeText(
        const platform::Image&, const platform::TextRecognitionSettings& given) override {
        settings.push_back(given);
        if (error) std::rethrow_exception(error);
        return observations;
    }
    std::vector<platform::RecognizedTextObservation> observations;
    std::exception_ptr error;
    std::vector<platform::TextRecognitionSettings> settings;  // of every call
};

}  // namespace quorvane::simulation
