#include "cli/recording_request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/recorder_error.h"

namespace quorvane::cli {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Arguments record(const Arguments& options) {
    Arguments arguments{"record"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
}

// A valid screen request with more options behind it.
Arguments screen(const Arguments& options) {
    auto arguments = record({"--output", "m.mp4", "--width", "640", "--height", "480"});
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
}

TEST(ParseRecordingRequest, TheFirstProblemIsTheError) {
    struct Row {
        const char* name;
        Arguments options;
        const char* message;
    };
    const Row rows[] = {
        {"no options", {}, "Missing --output."},
        {"output is the last word", {"--width", "x", "--output"}, "Missing --output."},
        {"empty output", {"--output", ""}, "Missing --output."},
        {"no size", {"--output", "m"}, "Invalid region."},
        {"too narrow", {"--output", "m", "--width", "7.999", "--height", "8"}, "Invalid region."},
        {"too low", {"--output", "m", "--width", "8", "--height", "7.999"}, "Invalid region."},
        {"bad x before bad y", {"--output", "m", "--y", "b", "--x", "a"}, "Invalid --x."},
        {"bad y", {"--output", "m", "--y", "inf"}, "Invalid --y."},
        {"bad width", {"--output", "m", "--width", "wide"}, "Invalid --width."},
        {"bad height", {"--output", "m", "--height", ""}, "Invalid --height."},
        {"a bad pid counts although unused",
         {"--output", "m", "--width", "8", "--height", "8", "--source-kind", "screen", "--app-pid",
          "x"},
         "Invalid --app-pid."},
        {"bad window id, not missing",
         {"--output", "m", "--source-kind", "window", "--window-id", "abc"},
         "Invalid --window-id."},
        {"window without id", {"--output", "m", "--source-kind", "window"}, "Missing --window-id."},
        {"app without pid", {"--output", "m", "--source-kind", "app"}, "Missing --app-pid."},
        {"window id before pid",
         {"--output", "m", "--window-id", "-1", "--app-pid", "x"},
         "Invalid --window-id."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        try {
            parseRecordingRequest(record(row.options));
            ADD_FAILURE() << "no error";
        } catch (const RecorderError& error) {
            EXPECT_EQ(error.errorDescription(), row.message);
        }
    }
}

TEST(ParseRecordingRequest, HasTheseDefaults) {
    const auto request = parseRecordingRequest(screen({}));
    EXPECT_EQ(request.outputPath, "m.mp4");
    EXPECT_EQ(request.sourceKind, RecordingSourceKind::screen);
    EXPECT_EQ(request.region, (support::Rect{0, 0, 640, 480}));
    EXPECT_EQ(request.windowId, std::nullopt);
    EXPECT_EQ(request.applicationProcessId, std::nullopt);
    EXPECT_FALSE(request.systemAudioEnabled);
    EXPECT_FALSE(request.microphoneEnabled);
    EXPECT_EQ(request.microphoneDeviceId, "default");
    EXPECT_EQ(request.videoQuality, "highest");
    EXPECT_EQ(request.healthPath, std::nullopt);
    EXPECT_EQ(request.rawOutputPath, std::nullopt);
    EXPECT_THAT(request.excludedWindowIDs, IsEmpty());
}

TEST(ParseRecordingRequest, ReadsEveryOption) {
    const auto request = parseRecordingRequest(record({"--raw-output",
                                                       "raw.mp4",
                                                       "--health-path",
                                                       "",
                                                       "--exclude-window-ids",
                                                       "12,34",
                                                       "--video-quality",
                                                       "compact",
                                                       "--microphone-id",
                                                       "mic",
                                                       "--microphone",
                                                       "yes",
                                                       "--system-audio",
                                                       "1",
                                                       "--app-pid",
                                                       "-7",
                                                       "--window-id",
                                                       "4294967295",
                                                       "--height",
                                                       "1.5",
                                                       "--width",
                                                       "2",
                                                       "--y",
                                                       "-3",
                                                       "--x",
                                                       "1e2",
                                                       "--source-kind",
                                                       "app",
                                                       "--output",
                                                       "m"}));
    EXPECT_EQ(request.sourceKind, RecordingSourceKind::app);
    EXPECT_EQ(request.region, (support::Rect{100, -3, 2, 1.5}));
    EXPECT_EQ(request.windowId, 4294967295U);
    EXPECT_EQ(request.applicationProcessId, -7);
    EXPECT_TRUE(request.systemAudioEnabled);
    EXPECT_TRUE(request.microphoneEnabled);
    EXPECT_EQ(request.microphoneDeviceId, "mic");
    EXPECT_EQ(request.videoQuality, "compact");
    EXPECT_EQ(request.healthPath, "");
    EXPECT_EQ(request.rawOutputPath, "raw.mp4");
    EXPECT_THAT(request.excludedWindowIDs, ElementsAre(12U, 34U));
}

TEST(ParseRecordingRequest, IsLenientWhereItMayBe) {
    EXPECT_EQ(parseRecordingRequest(screen({"--source-kind", "Window"})).sourceKind,
              RecordingSourceKind::screen);
    EXPECT_EQ(parseRecordingRequest(screen({"--video-quality", "HIGH"})).videoQuality, "highest");
    EXPECT_EQ(parseRecordingRequest(screen({"--microphone-id", ""})).microphoneDeviceId, "");
    EXPECT_EQ(parseRecordingRequest(
                  record({"--output", "a", "--output", "b", "--width", "8", "--height", "8"}))
                  .outputPath,
              "a");
    EXPECT_FALSE(parseRecordingRequest(screen({"--system-audio"})).systemAudioEnabled);
}

TEST(ParseRecordingRequest, SkipsExcludedWindowsThatAreNoIdentifiers) {
    struct Row {
        const char* list;
        std::vector<std::uint32_t> identifiers;
    };
    const Row rows[] = {
        {"12,,abc,34,12", {12, 34, 12}}, {"", {}},    {",", {}}, {" 12,13", {13}},
        {"-1,4294967296,5", {5}},        {"7,", {7}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.list);
        EXPECT_EQ(
            parseRecordingRequest(screen({"--exclude-window-ids", row.list})).excludedWindowIDs,
            row.identifiers);
    }
}

}  // namespace
}  // namespace quorvane::cli
