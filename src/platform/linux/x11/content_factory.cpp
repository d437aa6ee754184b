#include "platform/linux/x11/content_factory.h"

#include "platform/linux/x11/display_picture.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
std::unique_ptr<PictureContent> makePictureContent(const Connection& connection,
                                                   const CapturedContent& content,
                                                   const support::Rect& sourceRect,
                                                   const support::Clock& /*clock*/) {
    const auto* display = std::get_if<DisplayContent>(&content);
    if (display == nullptr || !display->excludingWindows.empty()) {
        throw x11Error(Failure::unsupportedContent, "This cannot be recorded.");
    }
    return std::make_unique<DisplayPicture>(connection, display->display, sourceRect);
}

}  // namespace quorvane::platform::x11
