#include "capture/capture_target.h"

#include <algorithm>

#include "cli/recorder_error.h"

namespace quorvane::capture {
namespace {

using cli::RecorderError;
using platform::Display;
using platform::RunningApplication;
using platform::ShareableContent;
using platform::Window;

constexpr double leastWindowSide = 8;  // points

// The first display that contains the frame's midpoint, else the first that the frame touches.
std::optional<Display> displayForFrame(const support::Rect& frame,
                                       std::span<const Display> displays) {
    for (const auto& display : displays) {
        if (display.frame.contains(frame.midpoint())) return display;
    }
    for (const auto& display : displays) {
        if (display.frame.intersects(frame)) return display;
    }
    return std::nullopt;
}

double sharedArea(const Display& display, std::span<const Window> windows) {
    double area = 0;
    for (const auto& window : windows) {
        if (const auto shared = display.frame.intersection(window.frame)) area += shared->area();
    }
    return area;
}

bool isRecordable(const Window& window) {
    return window.windowLayer == 0 && (window.isOnScreen || window.isActive) &&
           std::abs(window.frame.width) >= leastWindowSide &&
           std::abs(window.frame.height) >= leastWindowSide;
}

CaptureTarget screenTarget(const cli::RecordingRequest& request, const ShareableContent& content) {
    const auto display = displayForRegion(request.region, content.displays);
    std::vector<Window> excluded;
    const auto& identifiers = request.excludedWindowIDs;
    std::copy_if(content.windows.begin(), content.windows.end(), std::back_inserter(excluded),
                 [&](const Window& window) {
                     return std::find(identifiers.begin(), identifiers.end(), window.windowID) !=
                            identifiers.end();
                 });
    return {platform::DisplayContent{display, std::move(excluded), identifiers}, display};
}

CaptureTarget windowTarget(const cli::RecordingRequest& request, const ShareableContent& content) {
    const auto window =
        std::find_if(content.windows.begin(), content.windows.end(),
                     [&](const Window& each) { return each.windowID == request.windowId; });
    if (window == content.windows.end())
        throw RecorderError::unavailable("The selected window is no longer available.");
    const auto display = displayForWindow(*window, content.displays);
    if (!display)
        throw RecorderError::unavailable("The selected window is not on a recordable display.");
    return {platform::WindowContent{*window}, *display};
}

CaptureTarget applicationTarget(const cli::RecordingRequest& request,
                                const ShareableContent& content) {
    const auto application = std::find_if(content.applications.begin(), content.applications.end(),
                                          [&](const RunningApplication& each) {
                                              return each.processID == request.applicationProcessId;
                                          });
    if (application == content.applications.end())
        throw RecorderError::unavailable("The selected app is no longer available.");
    std::vector<Window> windows;
    std::copy_if(content.windows.begin(), content.windows.end(), std::back_inserter(windows),
                 [&](const Window& window) {
                     return window.owningApplication &&
                            window.owningApplication->processID == application->processID &&
                            isRecordable(window);
                 });
    const auto display = displayForApplicationWindows(windows, content.displays);
    if (!display) throw RecorderError::unavailable("The selected app has no recordable windows.");
    return {platform::ApplicationContent{*display, {*application}, {}}, *display};
}

}  // namespace

Display displayForRegion(const support::Rect& region, std::span<const Display> displays) {
    if (displays.empty()) throw RecorderError::noDisplays();
    const auto display = displayForFrame(region, displays);
    if (!display) throw RecorderError::noDisplayForRegion();
    return *display;
}

std::optional<Display> displayForWindow(const Window& window, std::span<const Display> displays) {
    return displayForFrame(window.frame, displays);
}

std::optional<Display> displayForApplicationWindows(std::span<const Window> windows,
                                                    std::span<const Display> displays) {
    if (displays.empty()) return std::nullopt;
    // The first of equals is the largest, so that ties go to the platform's order.
    const auto largest = std::max_element(
        displays.begin(), displays.end(), [&](const Display& left, const Display& right) {
            return sharedArea(left, windows) < sharedArea(right, windows);
        });
    if (sharedArea(*largest, windows) > 0) return *largest;
    if (windows.empty()) return std::nullopt;
    const auto holder = std::find_if(displays.begin(), displays.end(), [&](const Display& display) {
        return display.frame.contains(windows.front().frame.midpoint());
    });
    return holder != displays.end() ? *holder : displays.front();
}

CaptureTarget captureTarget(const cli::RecordingRequest& request, const ShareableContent& content) {
    switch (request.sourceKind) {
        case cli::RecordingSourceKind::window:
            return windowTarget(request, content);
        case cli::RecordingSourceKind::app:
            return applicationTarget(request, content);
        case cli::RecordingSourceKind::screen:
            break;
    }
    return screenTarget(request, content);
}

}  // namespace quorvane::capture
