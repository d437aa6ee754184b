#include "platform/linux/x11/x11_screen_access.h"

#include <chrono>

#include <xcb/xcb.h>

#include "platform/linux/patient_query.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/reply.h"

namespace quorvane::platform::x11 {
namespace {

constexpr auto answerPatience = std::chrono::seconds(2);

}  // namespace

bool canReadScreen(const std::string& displayName) {
    return askPatiently("x11-query", answerPatience, false, [displayName] {
        const Connection connection(displayName);
        xcb_connection_t* xcb = connection.xcb();
        constexpr std::uint32_t allPlanes = 0xFFFFFFFF;
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_get_image_reply_t> pixel(xcb_get_image_reply(
            xcb,
            xcb_get_image(xcb, XCB_IMAGE_FORMAT_Z_PIXMAP, connection.root(), 0, 0, 1, 1, allPlanes),
            &error));
        const Reply<xcb_generic_error_t> refusal(error);
        return pixel != nullptr;
    });
}

}  // namespace quorvane::platform::x11
