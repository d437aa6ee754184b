#include "platform/linux/x11/content_factory.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/linux/x11/application_picture.h"
#include "platform/linux/x11/display_picture.h"
#include "platform/linux/x11/excluding_picture.h"
#include "platform/linux/x11/window_picture.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

std::vector<std::uint32_t> excludedWindows(const DisplayContent& content) {
    std::vector<std::uint32_t> windows = content.excludedWindowIDs;
    for (const Window& window : content.excludingWindows)
        windows.push_back(window.windowID);
    std::sort(windows.begin(), windows.end());
    windows.erase(std::unique(windows.begin(), windows.end()), windows.end());
    return windows;
}

}  // namespace

std::unique_ptr<PictureContent> makePictureContent(const Connection& connection,
                                                   const CapturedContent& content,
                                                   const support::Rect& sourceRect,
                                                   const support::Clock& clock) {
    if (const auto* window = std::get_if<WindowContent>(&content)) {
        return std::make_unique<WindowPicture>(connection, window->window.windowID, clock);
    }
    if (const auto* application = std::get_if<ApplicationContent>(&content)) {
        if (!application->exceptingWindows.empty()) {
            throw x11Error(Failure::unsupportedContent,
                           "Windows of an application cannot be left out.");
        }
        std::vector<std::int32_t> processes;
        for (const RunningApplication& each : application->including)
            processes.push_back(each.processID);
        return std::make_unique<ApplicationPicture>(connection, application->display, sourceRect,
                                                    std::move(processes), clock);
    }
    const auto& display = std::get<DisplayContent>(content);
    auto excluded = excludedWindows(display);
    if (excluded.empty()) {
        return std::make_unique<DisplayPicture>(connection, display.display, sourceRect);
    }
    return std::make_unique<ExcludingPicture>(connection, display.display, sourceRect,
                                              std::move(excluded), clock);
}

}  // namespace quorvane::platform::x11
