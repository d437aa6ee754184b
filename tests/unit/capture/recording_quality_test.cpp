#include "capture/recording_quality.h"

#include <gtest/gtest.h>

namespace quorvane::capture {
namespace {

TEST(RecordingQuality, EachNameStandsForItsNumbers) {
    using platform::CaptureResolution;
    struct Row {
        const char* quality;
        std::optional<int> maxDimension;
        int frameRate;
        CaptureResolution resolution;
    };
    const Row rows[] = {
        {"highest", std::nullopt, 60, CaptureResolution::best},
        {"high", std::nullopt, 30, CaptureResolution::best},
        {"balanced", 1920, 30, CaptureResolution::automatic},
        {"compact", 1280, 24, CaptureResolution::automatic},
        {"ultra", std::nullopt, 60, CaptureResolution::automatic},
        {"Highest", std::nullopt, 60, CaptureResolution::automatic},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.quality);
        EXPECT_EQ(maxOutputDimension(row.quality), row.maxDimension);
        EXPECT_EQ(frameRate(row.quality), row.frameRate);
        EXPECT_EQ(captureResolution(row.quality), row.resolution);
    }
}

TEST(EvenDimension, RoundsTowardsZeroAndIsAtLeastEight) {
    struct Row {
        std::int64_t value;
        std::int64_t even;
    };
    for (const auto& row :
         {Row{9, 8}, Row{8, 8}, Row{7, 8}, Row{0, 8}, Row{-5, 8}, Row{1365, 1364}, Row{1366, 1366}})
        EXPECT_EQ(evenDimension(row.value), row.even) << row.value;
}

TEST(OutputDimensions, ScaleByOneFactorIntoTheLimits) {
    struct Row {
        const char* name;
        std::int64_t width, height;
        std::optional<int> maxDimension;
        OutputSize size;
    };
    const Row rows[] = {
        {"balanced on 1440p", 2560, 1440, 1920, {1920, 1080}},
        {"compact on 1440p", 2560, 1440, 1280, {1280, 720}},
        {"5K is capped by the width", 5120, 2880, std::nullopt, {4096, 2304}},
        {"a wide screen", 6000, 2000, std::nullopt, {4096, 1364}},
        {"a tall screen is capped by the height", 1440, 4608, std::nullopt, {720, 2304}},
        {"the height limit beats a loose dimension limit", 2000, 4608, 4608, {1000, 2304}},
        {"no scaling up", 640, 480, 1920, {640, 480}},
        {"exactly the limit", 1920, 1080, 1920, {1920, 1080}},
        {"odd sizes round down", 641, 481, std::nullopt, {640, 480}},
        {"seven pixels", 7, 100, std::nullopt, {8, 100}},
        {"nothing", 0, -3, std::nullopt, {8, 8}},
        {"portrait", 1080, 1920, 1280, {720, 1280}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(outputDimensions(row.width, row.height, row.maxDimension), row.size);
    }
}

TEST(BitRate, IsAShareOfThePixelsWithinBounds) {
    struct Row {
        const char* name;
        std::int64_t width, height, frameRate;
        const char* quality;
        std::int64_t bitRate;
    };
    const Row rows[] = {
        {"balanced 1080p meets its floor", 1920, 1080, 30, "balanced", 6'000'000},
        {"highest 2160p", 3840, 2160, 60, "highest", 69'672'960},
        {"compact 720p meets its floor", 1280, 720, 24, "compact", 2'000'000},
        {"highest 1080p", 1920, 1080, 60, "highest", 17'418'240},
        {"high 1080p", 1920, 1080, 30, "high", 6'531'840},
        {"highest meets its ceiling", 4096, 2304, 120, "highest", 90'000'000},
        {"the others meet theirs", 4096, 2304, 120, "high", 45'000'000},
        {"an unknown quality has the lower ceiling", 3840, 2160, 60, "ultra", 45'000'000},
        {"an unknown quality has the high factor", 1920, 1080, 60, "ultra", 17'418'240},
        {"a frame rate of 0 counts as 1", 10000, 10000, 0, "compact", 5'500'000},
        {"small sizes count as 8", 1, 10'000'000, 1, "compact", 4'400'000},
        {"rounded to the nearest", 3001, 2001, 31, "high", 19'546'278},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(RecordingQuality::bitRate(row.width, row.height, row.frameRate, row.quality),
                  row.bitRate);
    }
    EXPECT_EQ(videoBitRate(1920, 1080, 60, "highest"), 17'418'240);
}

}  // namespace
}  // namespace quorvane::capture
