#include "capture/stream_configuration.h"

#include <chrono>
#include <cmath>
#include <utility>

#include "capture/recording_quality.h"
#include "cli/recorder_error.h"

namespace quorvane::capture {
namespace {

constexpr int queueDepth = 6;  // pictures
constexpr int sampleRate = 48000;
constexpr int channelCount = 2;

std::int64_t pixels(double scale, double points) {
    const double exact = std::round(scale * points);
    // 2^63 is the first double that does not fit.
    if (!(std::abs(exact) < 0x1p63)) throw cli::RecorderError::invalidArgument("region");
    return std::max<std::int64_t>(8, static_cast<std::int64_t>(exact));
}

support::Rect sourceRect(const cli::RecordingRequest& request, const support::Rect& content) {
    if (request.sourceKind != cli::RecordingSourceKind::screen)
        return {0, 0, content.width, content.height};
    const auto& region = request.region;
    return {region.x - content.x, region.y - content.y, region.width, region.height};
}

}  // namespace

double pixelScale(const platform::ContentFilter& filter,
                  const std::optional<platform::Display>& display) {
    const double scale = filter.pointPixelScale;
    if (scale > 0 && std::isfinite(scale)) return scale;
    if (display && display->frame.width > 0) return display->width / display->frame.width;
    return 1;
}

platform::StreamConfiguration streamConfiguration(const cli::RecordingRequest& request,
                                                  const std::optional<platform::Display>& display,
                                                  const platform::ContentFilter& filter,
                                                  std::optional<std::string> microphoneDeviceID) {
    const bool isWindow = request.sourceKind == cli::RecordingSourceKind::window;
    const double scale = pixelScale(filter, display);
    // An application is recorded in the size of the request's region, as a screen is.
    const auto& logical = isWindow ? filter.contentRect : request.region;
    const auto size = outputDimensions(pixels(scale, logical.width), pixels(scale, logical.height),
                                       maxOutputDimension(request.videoQuality));

    platform::StreamConfiguration configuration;
    configuration.sourceRect = sourceRect(request, filter.contentRect);
    configuration.width = static_cast<int>(size.width);
    configuration.height = static_cast<int>(size.height);
    if (isWindow) configuration.ignoreShadowsSingleWindow = true;
    configuration.minimumFrameInterval =
        std::chrono::nanoseconds(std::chrono::seconds(1)) / frameRate(request.videoQuality);
    configuration.queueDepth = queueDepth;
    configuration.captureResolution = captureResolution(request.videoQuality);
    configuration.showsCursor = true;
    configuration.capturesAudio = request.systemAudioEnabled;
    configuration.excludesCurrentProcessAudio = true;
    configuration.sampleRate = sampleRate;
    configuration.channelCount = channelCount;
    configuration.captureMicrophone = request.microphoneEnabled;
    if (microphoneDeviceID && !microphoneDeviceID->empty())
        configuration.microphoneCaptureDeviceID = std::move(microphoneDeviceID);
    return configuration;
}

std::optional<std::string> microphoneCaptureDeviceID(const cli::RecordingRequest& request,
                                                     platform::AudioDevices& devices) {
    if (!request.microphoneEnabled) return std::nullopt;
    if (request.microphoneDeviceId != "default") return request.microphoneDeviceId;
    const auto device = devices.defaultInputDevice();
    if (!device) return std::nullopt;
    return device->uniqueID;
}

}  // namespace quorvane::capture
