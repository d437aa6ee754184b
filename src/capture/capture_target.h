// What a request records: the content of the capture, and the display that it is based on.
// Threads: pure, any. Errors: RecorderError with the sentence for the user.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "cli/recording_request.h"
#include "platform/capture_stream.h"
#include "platform/shareable_content.h"

namespace quorvane::capture {

// Each takes the displays in the platform's order; the first that fits wins, not the one that
// holds most of the frame.
platform::Display displayForRegion(const support::Rect& region,
                                   std::span<const platform::Display> displays);
std::optional<platform::Display> displayForWindow(const platform::Window& window,
                                                  std::span<const platform::Display> displays);
// The display that holds most of the windows' area; for windows off every display the one that
// holds the first window's midpoint, else the first.
std::optional<platform::Display> displayForApplicationWindows(
    std::span<const platform::Window> windows, std::span<const platform::Display> displays);

struct CaptureTarget {
    platform::CapturedContent content;
    platform::Display display;
};

CaptureTarget captureTarget(const cli::RecordingRequest& request,
                            const platform::ShareableContent& content);

}  // namespace quorvane::capture
