#include "cli/transcription_request.h"

#include <gtest/gtest.h>

#include "cli/recorder_error.h"

namespace quorvane::cli {
namespace {

template <class Request>
class ParseTranscriptionRequest : public testing::Test {};
using Requests = testing::Types<TranscriptionRequest, TextRecognitionRequest>;
TYPED_TEST_SUITE(ParseTranscriptionRequest, Requests);

TYPED_TEST(ParseTranscriptionRequest, TakesTheFileAndTheLocale) {
    struct Row {
        const char* name;
        Arguments arguments;
        const char* inputPath;
        const char* localeIdentifier;
    };
    const Row rows[] = {
        {"both", {"word", "--locale", "de-DE", "--input", "a.png"}, "a.png", "de-DE"},
        {"the user's locale when none is given", {"word", "--input", "a.png"}, "a.png", "fr_CA"},
        {"an empty locale is kept", {"word", "--input", "a", "--locale", ""}, "a", ""},
        {"any locale is kept", {"word", "--input", "a", "--locale", "no such"}, "a", "no such"},
        {"a locale without a value is none", {"word", "--input", "a", "--locale"}, "a", "fr_CA"},
        {"the first counts", {"--input", "a", "--input", "b"}, "a", "fr_CA"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto request = parseTranscriptionRequest<TypeParam>(row.arguments, "fr_CA");
        EXPECT_EQ(request.inputPath, row.inputPath);
        EXPECT_EQ(request.localeIdentifier, row.localeIdentifier);
    }
}

TYPED_TEST(ParseTranscriptionRequest, NeedsAFile) {
    for (const Arguments& arguments :
         {Arguments{"word"}, Arguments{"word", "--input"}, Arguments{"word", "--input", ""}}) {
        SCOPED_TRACE(arguments.size());
        try {
            parseTranscriptionRequest<TypeParam>(arguments, "en_US");
            ADD_FAILURE() << "no error";
        } catch (const RecorderError& error) {
            EXPECT_EQ(error.errorDescription(), "Missing --input.");
            EXPECT_EQ(error.code(), 0);
        }
    }
}

}  // namespace
}  // namespace quorvane::cli
