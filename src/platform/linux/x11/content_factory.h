// What a stream's content is on an X server.
// Threads: the connection's. Errors: PlatformError.
#pragma once

#include <memory>

#include "platform/capture_stream.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/picture_content.h"
#include "support/dispatch.h"

namespace quorvane::platform::x11 {

// The source rectangle is relative to a display; a window is captured as a whole. The connection
// and the clock outlive the content.
std::unique_ptr<PictureContent> makePictureContent(const Connection& connection,
                                                   const CapturedContent& content,
                                                   const support::Rect& sourceRect,
                                                   const support::Clock& clock);

}  // namespace quorvane::platform::x11
