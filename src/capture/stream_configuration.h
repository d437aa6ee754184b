// The capture stream's configuration for a request.
// Threads: pure, any.
#pragma once

#include <optional>
#include <string>

#include "cli/recording_request.h"
#include "platform/audio_devices.h"
#include "platform/capture_stream.h"
#include "platform/shareable_content.h"

namespace quorvane::capture {

// How many pixels a point has: the filter's scale, else the display's pixels by its points, else 1.
double pixelScale(const platform::ContentFilter& filter,
                  const std::optional<platform::Display>& display);

// Errors: a region beyond 64-bit pixel sizes throws invalidArgument("region").
platform::StreamConfiguration streamConfiguration(const cli::RecordingRequest& request,
                                                  const std::optional<platform::Display>& display,
                                                  const platform::ContentFilter& filter,
                                                  std::optional<std::string> microphoneDeviceID);

// Which device a request's microphone is: the one named, else the system's default, else nothing;
// nothing too when no microphone is wanted.
std::optional<std::string> microphoneCaptureDeviceID(const cli::RecordingRequest& request,
                                                     platform::AudioDevices& devices);

}  // namespace quorvane::capture
