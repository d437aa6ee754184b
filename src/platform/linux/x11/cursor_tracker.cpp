#include "platform/linux/x11/cursor_tracker.h"

#include <cstddef>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {

CursorTracker::CursorTracker(const Connection& connection,
                             std::chrono::nanoseconds questionInterval)
    : connection_(connection), questionInterval_(questionInterval) {
    xcb_connection_t* xcb = connection.xcb();
    noticeType_ = static_cast<std::uint8_t>(
        connection.extension(xcb_xfixes_id, "XFIXES").first_event + XCB_XFIXES_CURSOR_NOTIFY);
    const auto versionCookie = xcb_xfixes_query_version(xcb, 4, 0);
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_xfixes_query_version_reply_t> version(
        xcb_xfixes_query_version_reply(xcb, versionCookie, &error));
    if (!version) throwMissingReply(error, "tell its XFIXES version");
    const auto selectCookie = xcb_xfixes_select_cursor_input_checked(
        xcb, connection.root(), XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
    throwIfRefused(xcb, selectCookie.sequence, "report the cursor");
    selectDeviceMotion();
}

void CursorTracker::selectDeviceMotion() {
    if (!connection_.has(xcb_input_id)) return;
    xcb_connection_t* xcb = connection_.xcb();
    const Reply<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(xcb, xcb_input_xi_query_version(xcb, 2, 2), nullptr));
    if (!version || version->major_version < 2) return;
    const struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } masks{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_MOTION};
    const auto cookie = xcb_input_xi_select_events_checked(xcb, connection_.root(), 1, &masks.head);
    const Reply<xcb_generic_error_t> refusal(xcb_request_check(xcb, cookie));
    if (refusal) return;
    inputOpcode_ = connection_.extension(xcb_input_id, "XInputExtension").major_opcode;
}

bool CursorTracker::handle(const Event& event) {
    if (event.type == noticeType_) {
        imageChanged_ = true;
        return true;
    }
    if (event.type != XCB_GE_GENERIC || inputOpcode_ == 0) return false;
    const auto& generic = *static_cast<const xcb_ge_generic_event_t*>(event.record);
    if (generic.extension != inputOpcode_ || generic.event_type != XCB_INPUT_RAW_MOTION) {
        return false;
    }
    moved_ = true;
    return true;
}

void CursorTracker::request(support::MediaTime now) {
    xcb_connection_t* xcb = connection_.xcb();
    pointerSequence_ = xcb_query_pointer(xcb, connection_.root()).sequence;
    imageRequested_ = imageChanged_;
    if (imageRequested_) imageSequence_ = xcb_xfixes_get_cursor_image(xcb).sequence;
    moved_ = false;
    imageChanged_ = false;
    nextQuestion_ = now + questionInterval_;
}

bool CursorTracker::receive() {
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(connection_.xcb(), {pointerSequence_}, &error));
    const bool newImage = imageRequested_ && receiveImage();
    if (!pointer) throwMissingReply(error, "tell where the pointer is");

    PixelRect rect;
    if (pointer->same_screen && imageWidth_ > 0) {
        rect = {pointer->root_x - hotX_, pointer->root_y - hotY_, imageWidth_, imageHeight_};
    }
    topLevelUnder_ = pointer->same_screen ? pointer->child : 0;
    if (!newImage && rect == rect_) return false;
    rect_ = rect;
    return true;
}

bool CursorTracker::receiveImage() {
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_xfixes_get_cursor_image_reply_t> reply(
        xcb_xfixes_get_cursor_image_reply(connection_.xcb(), {imageSequence_}, &error));
    if (!reply) {
        // The server refuses while no cursor is displayed at all.
        if (error == nullptr) throwMissingReply(nullptr, "tell the cursor's image");
        const Reply<xcb_generic_error_t> refusal(error);
        const bool hadImage = imageWidth_ > 0;
        imageWidth_ = 0;
        imageHeight_ = 0;
        return hadImage;
    }
    const std::uint32_t* pixels = xcb_xfixes_get_cursor_image_cursor_image(reply.get());
    pixels_.assign(pixels, pixels + std::ptrdiff_t{reply->width} * reply->height);
    imageWidth_ = reply->width;
    imageHeight_ = reply->height;
    hotX_ = reply->xhot;
    hotY_ = reply->yhot;
    return true;
}

}  // namespace quorvane::platform::x11
