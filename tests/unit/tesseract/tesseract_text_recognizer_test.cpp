#include "platform/linux/tesseract/tesseract_text_recognizer.h"

#include <gtest/gtest.h>

#include "platform/platform_error.h"

namespace quorvane::platform::tesseract {
namespace {

const Image blank{40, 30, std::vector<std::uint8_t>(40 * 30 * 3, 255)};

std::string failureOf(const Image& image, const std::vector<std::string>& languages) {
    try {
        TesseractTextRecognizer().recognizeText(image, {.recognitionLanguages = languages});
    } catch (const PlatformError& error) {
        return error.domain() + " " + std::to_string(error.code()) + ": " + error.description();
    }
    return "no error";
}

TEST(TesseractTextRecognizer, WithoutAnyUsableLanguageFailsEvenOnABlankImage) {
    EXPECT_EQ(failureOf(blank, {"zz-ZZ"}),
              "Tesseract 1: None of the languages is installed for text recognition.");
    EXPECT_EQ(failureOf(blank, {"qaa"}),
              "Tesseract 1: None of the languages is installed for text recognition.");
    EXPECT_EQ(failureOf(blank, {}),
              "Tesseract 1: None of the languages is installed for text recognition.");
}

TEST(TesseractTextRecognizer, LeavesOutLanguagesThatAreNotInstalled) {
    EXPECT_EQ(failureOf(blank, {"qaa", "osd", "en-US"}), "no error");
    EXPECT_EQ(failureOf(blank, {"en-US", "qaa"}), "no error");
}

TEST(TesseractTextRecognizer, ReadsNothingInABlankImage) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 500}, {500, 1}, {40, 30}}) {
        SCOPED_TRACE(testing::Message() << width << " x " << height);
        const Image image{width, height, std::vector<std::uint8_t>(3UL * width * height, 90)};
        EXPECT_TRUE(TesseractTextRecognizer()
                        .recognizeText(image, {.recognitionLanguages = {"en-US"}})
                        .empty());
    }
}

}  // namespace
}  // namespace quorvane::platform::tesseract
