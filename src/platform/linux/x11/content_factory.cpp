#include "platform/linux/x11/content_factory.h"

#include "platform/linux/x11/display_picture.h"
#include "platform/linux/x11/window_picture.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
std::unique_ptr<PictureContent> makePictureContent(const Connection& connection,
                                                   const CapturedContent& content,
                                                   const support::Rect& sourceRect,
                                                   const support::Clock& clock) {
    if (const auto* window = std::get_if<WindowContent>(&content)) {
        return std::make_unique<WindowPicture>(connection, window->window.windowID, clock);
    }
    const auto* display = std::get_if<DisplayContent>(&content);
    if (display == nullptr || !display->excludingWindows.empty()) {
        throw x11Error(Failure::unsupportedContent, "This cannot be recorded.");
    }
    return std::make_unique<DisplayPicture>(connection, display->display, sourceRect);
}

}  // namespace quorvane::platform::x11
