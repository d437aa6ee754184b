#include "capture/stream_configuration.h"

#include <limits>

#include <gtest/gtest.h>

#include "cli/recorder_error.h"
#include "simulation/sim_platform.h"

namespace quorvane::capture {
namespace {

using cli::RecordingRequest;
using cli::RecordingSourceKind;
using platform::ContentFilter;
using platform::Display;
using support::Rect;

RecordingRequest request(RecordingSourceKind kind, Rect region) {
    RecordingRequest made;
    made.sourceKind = kind;
    made.region = region;
    return made;
}

const Display retina{1, 2880, 1800, {0, 0, 1440, 900}};

TEST(PixelScale, FallsBackToTheDisplayThenToOne) {
    struct Row {
        const char* name;
        float filterScale;
        std::optional<Display> display;
        double scale;
    };
    const Row rows[] = {
        {"the filter's", 1.5F, retina, 1.5},
        {"zero on a display of two pixels a point", 0, retina, 2},
        {"negative", -1, retina, 2},
        {"not a number", std::numeric_limits<float>::quiet_NaN(), retina, 2},
        {"infinite", std::numeric_limits<float>::infinity(), retina, 2},
        {"no display", 0, std::nullopt, 1},
        {"a display without width", 0, Display{1, 100, 100, {0, 0, 0, 0}}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ContentFilter filter;
        filter.pointPixelScale = row.filterScale;
        EXPECT_EQ(pixelScale(filter, row.display), row.scale);
    }
}

TEST(StreamConfiguration, TakesItsGeometryFromTheKind) {
    struct Row {
        const char* name;
        RecordingSourceKind kind;
        Rect region;
        Rect content;
        float scale;
        const char* quality;
        Rect sourceRect;
        int width, height;
        bool ignoresShadows;
    };
    const Row rows[] = {
        {"a region relative to its display",
         RecordingSourceKind::screen,
         {1500, 100, 640, 480},
         {1440, 0, 1440, 900},
         1,
         "highest",
         {60, 100, 640, 480},
         640,
         480,
         false},
        {"a region in pixels",
         RecordingSourceKind::screen,
         {0, 0, 640, 480},
         {0, 0, 1440, 900},
         2,
         "highest",
         {0, 0, 640, 480},
         1280,
         960,
         false},
        {"half pixels round away from zero",
         RecordingSourceKind::screen,
         {0, 0, 99.5, 101.5},
         {0, 0, 1440, 900},
         1,
         "highest",
         {0, 0, 99.5, 101.5},
         100,
         102,
         false},
        {"a window in its own size",
         RecordingSourceKind::window,
         {5, 5, 9, 9},
         {300, 200, 800, 601},
         1,
         "highest",
         {0, 0, 800, 601},
         800,
         600,
         true},
        {"an application in the region's size",
         RecordingSourceKind::app,
         {5, 5, 400, 300},
         {0, 0, 1440, 900},
         1,
         "highest",
         {0, 0, 1440, 900},
         400,
         300,
         false},
        {"an application without a region",
         RecordingSourceKind::app,
         {0, 0, 0, 0},
         {0, 0, 1440, 900},
         1,
         "highest",
         {0, 0, 1440, 900},
         8,
         8,
         false},
        {"compact",
         RecordingSourceKind::screen,
         {0, 0, 1440, 900},
         {0, 0, 1440, 900},
         2,
         "compact",
         {0, 0, 1440, 900},
         1280,
         800,
         false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto made = request(row.kind, row.region);
        made.videoQuality = row.quality;
        ContentFilter filter;
        filter.contentRect = row.content;
        filter.pointPixelScale = row.scale;
        const auto configuration = streamConfiguration(made, retina, filter, std::nullopt);
        EXPECT_EQ(configuration.sourceRect, row.sourceRect);
        EXPECT_EQ(configuration.width, row.width);
        EXPECT_EQ(configuration.height, row.height);
        EXPECT_EQ(configuration.ignoreShadowsSingleWindow, row.ignoresShadows);
    }
}

TEST(StreamConfiguration, SetsWhatIsTheSameForAll) {
    auto made = request(RecordingSourceKind::screen, {0, 0, 640, 480});
    made.videoQuality = "compact";
    made.systemAudioEnabled = true;
    const auto configuration = streamConfiguration(made, retina, {}, "mic-1");
    EXPECT_EQ(configuration.minimumFrameInterval, std::chrono::nanoseconds(1'000'000'000 / 24));
    EXPECT_EQ(configuration.queueDepth, 6);
    EXPECT_EQ(configuration.captureResolution, platform::CaptureResolution::automatic);
    EXPECT_TRUE(configuration.showsCursor);
    EXPECT_TRUE(configuration.capturesAudio);
    EXPECT_TRUE(configuration.excludesCurrentProcessAudio);
    EXPECT_EQ(configuration.sampleRate, 48000);
    EXPECT_EQ(configuration.channelCount, 2);
    EXPECT_FALSE(configuration.captureMicrophone);
    EXPECT_EQ(configuration.microphoneCaptureDeviceID, "mic-1");
    EXPECT_EQ(streamConfiguration(made, retina, {}, "").microphoneCaptureDeviceID, std::nullopt);
}

TEST(StreamConfiguration, ARegionBeyondWholeNumbersIsInvalid) {
    for (const double size : {1e19, std::numeric_limits<double>::max()}) {
        const auto made = request(RecordingSourceKind::screen, {0, 0, size, 100});
        EXPECT_THROW(streamConfiguration(made, retina, {}, std::nullopt), cli::RecorderError);
    }
}

TEST(MicrophoneCaptureDeviceID, IsTheNamedDeviceOrTheDefault) {
    struct Row {
        const char* name;
        bool enabled;
        const char* requested;
        std::optional<platform::AudioInputDevice> defaultDevice;
        std::optional<std::string> identifier;
    };
    const platform::AudioInputDevice device{"mic-1", "Desk microphone"};
    const Row rows[] = {
        {"not wanted", false, "mic-2", device, std::nullopt},
        {"named", true, "mic-2", device, "mic-2"},
        {"default", true, "default", device, "mic-1"},
        {"default without a device", true, "default", std::nullopt, std::nullopt},
        {"an empty name is kept", true, "", device, ""},
        {"case matters", true, "Default", device, "Default"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        RecordingRequest made;
        made.microphoneEnabled = row.enabled;
        made.microphoneDeviceId = row.requested;
        simulation::SimAudioDevices devices;
        devices.device = row.defaultDevice;
        EXPECT_EQ(microphoneCaptureDeviceID(made, devices), row.identifier);
    }
}

}  // namespace
}  // namespace quorvane::capture
