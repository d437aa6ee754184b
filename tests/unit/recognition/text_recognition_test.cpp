#include "recognition/text_recognition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/error_text.h"
#include "platform/platform_error.h"
#include "simulation/sim_recognition.h"

namespace quorvane::recognition {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Services {
    simulation::SimImages images;
    simulation::SimTextRecognizer recognizer;

    TextRecognitionResult recognize(const std::string& locale = "de-DE") {
        return recognizeText({"page.png", locale}, images, recognizer);
    }
    std::string failure() {
        try {
            recognize();
        } catch (...) {
            return cli::failureLine(std::current_exception());
        }
        return "no error";
    }
};

TEST(RecognizeText, AsksForTheRequestsLanguageAndThenEnglish) {
    struct Row {
        const char* name;
        const char* locale;
        std::vector<std::string> languages;
    };
    const Row rows[] = {
        {"another language comes first", "de-DE", {"de-DE", "en-US"}},
        {"English is not repeated", "en-US", {"en-US"}},
        {"nothing is English", "", {"en-US"}},
        {"another spelling is another language", "en_US", {"en_US", "en-US"}},
        {"what is no locale is passed on", " x ", {" x ", "en-US"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Services services;
        EXPECT_EQ(services.recognize(row.locale).locale, row.locale);
        ASSERT_EQ(services.recognizer.settings.size(), 1U);
        const auto& settings = services.recognizer.settings[0];
        EXPECT_EQ(settings.recognitionLanguages, row.languages);
        EXPECT_EQ(settings.recognitionLevel, platform::TextRecognitionLevel::accurate);
        EXPECT_TRUE(settings.usesLanguageCorrection);
    }
}

TEST(RecognizeText, TakesTheBestCandidateOfEachLineInReadingOrder) {
    Services services;
    services.recognizer.observations = {
        {{{"low", 0.5F}, {"lour", 0.25F}}, {0.125, 0.25, 0.5, 0.125}},
        {{}, {0, 0.5, 1, 0.125}},
        {{{"high/", 0.75F}}, {0.25, 0.75, 0.5, 0.125}},
    };
    const auto result = services.recognize();
    EXPECT_EQ(support::jsonText(result, support::JsonOrder::sorted),
              R"({"engine":"apple-vision","locale":"de-DE","observations":[)"
              R"({"boundingBox":{"height":0.125,"width":0.5,"x":0.25,"y":0.75},)"
              R"("confidence":0.75,"text":"high\/"},)"
              R"({"boundingBox":{"height":0.125,"width":0.5,"x":0.125,"y":0.25},)"
              R"("confidence":0.5,"text":"low"}],"text":"high\/\nlow"})");
}

TEST(RecognizeText, AnImageWithoutTextIsAnEmptyResult) {
    Services services;
    EXPECT_EQ(support::jsonText(services.recognize(""), support::JsonOrder::sorted),
              R"({"engine":"apple-vision","locale":"","observations":[],"text":""})");
}

TEST(RecognizeText, WithoutAnImageNothingIsRecognised) {
    Services services;
    services.images.image.reset();
    EXPECT_EQ(services.failure(),
              "Could not load the image for text recognition. (main.RecorderError 2)");
    EXPECT_THAT(services.images.opened, ElementsAre("page.png"));
    EXPECT_THAT(services.recognizer.settings, IsEmpty());
}

TEST(RecognizeText, TheRecognisersErrorIsPassedOn) {
    Services services;
    services.recognizer.error =
        std::make_exception_ptr(platform::PlatformError("Eyes", 7, "It is dark."));
    EXPECT_EQ(services.failure(), "It is dark. (Eyes 7)");
}

}  // namespace
}  // namespace quorvane::recognition
