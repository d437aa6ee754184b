#include "recognition/transcription_result.h"

#include <limits>

#include <gtest/gtest.h>

namespace quorvane::recognition {
namespace {

platform::SpeechRecognitionResult resultWith(double timestamp, double duration) {
    return {.bestTranscription = {.formattedString = "word",
                                  .segments = {{"word", timestamp, duration, 0.5F}}},
            .isFinal = true};
}

TEST(TranscriptionResult, RoundsTimesToMilliseconds) {
    struct Row {
        const char* name;
        double timestamp;
        double duration;
        std::int64_t startMs;
        std::int64_t endMs;
    };
    const Row rows[] = {
        {"halves go up", 0.0625, 0.125, 63, 188},
        {"the begin", 0, 0.25, 0, 250},
        {"below a half", 1.0004, 0, 1000, 1000},
        {"a time before the begin is 0", -0.5, 0.75, 0, 250},
        {"a segment before the begin is empty", -2, 1, 0, 0},
        {"no duration", 2.5, 0, 2500, 2500},
        {"a negative duration", 2.5, -1, 2500, 2500},
        // 0.0004 + 0.0004: each alone would be 0.
        {"the end is rounded as a whole", 0.0004, 0.0004, 0, 1},
        {"a long day", 86400.0005, 0.001, 86400001, 86400002},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto result = transcriptionResult(resultWith(row.timestamp, row.duration), "en-US");
        ASSERT_EQ(result.segments.size(), 1U);
        EXPECT_EQ(result.segments[0].startMs, row.startMs);
        EXPECT_EQ(result.segments[0].endMs, row.endMs);
    }
}

TEST(TranscriptionResult, KeepsTextsOrderAndConfidence) {
    const platform::SpeechRecognitionResult from{
        .bestTranscription = {.formattedString = "Hello, world.",
                              .segments = {{"Hello,", 0.1, 0.2, 0.25F}, {"world.", 0.4, 0.2, 1}}},
        .isFinal = true};
    const TranscriptionResult expected{"apple-speech-on-device",
                                       "tlh-Kling!",
                                       "Hello, world.",
                                       {{100, 300, "Hello,", 0.25F}, {400, 600, "world.", 1}}};
    EXPECT_EQ(transcriptionResult(from, "tlh-Kling!"), expected);
}

TEST(TranscriptionResult, IsOneLineOfSortedJson) {
    TranscriptionResult result{"apple-speech-on-device", "en/US", "a \"b\"", {}};
    EXPECT_EQ(support::jsonText(result, support::JsonOrder::sorted),
              R"({"engine":"apple-speech-on-device","locale":"en\/US","segments":[],)"
              R"("text":"a \"b\""})");
    result.segments = {{63, 188, "a", 0.35F}};
    EXPECT_EQ(support::jsonText(result, support::JsonOrder::sorted),
              R"({"engine":"apple-speech-on-device","locale":"en\/US","segments":)"
              R"([{"confidence":0.35,"endMs":188,"startMs":63,"text":"a"}],"text":"a \"b\""})");
}

TEST(TranscriptionResultDeathTest, ATimeThatIsNoTimeEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    constexpr double infinity = std::numeric_limits<double>::infinity();
    struct Row {
        const char* name;
        double timestamp;
        double duration;
    };
    const Row rows[] = {
        {"not a number", std::numeric_limits<double>::quiet_NaN(), 0},
        {"without end", 0, infinity},
        {"without begin", -infinity, 0},
        {"beyond 64 bits", 9.3e15, 0},
        {"the end beyond 64 bits", 9.2e15, 1e14},
        {"before 64 bits", -9.3e15, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_DEATH(transcriptionResult(resultWith(row.timestamp, row.duration), "en-US"), "");
    }
}

TEST(TranscriptionResult, TakesTheLargestTimesThatThereAre) {
    const auto result = transcriptionResult(resultWith(9.2e15, 0), "en-US");
    EXPECT_EQ(result.segments[0].startMs, 9200000000000000000);
    EXPECT_EQ(transcriptionResult(resultWith(-9.2e15, 0), "en-US").segments[0].startMs, 0);
}

}  // namespace
}  // namespace quorvane::recognition
