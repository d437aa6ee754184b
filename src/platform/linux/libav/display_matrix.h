// How a picture is turned for display, between the port's transform and the library's matrix.
// Threads: pure. Errors: none but lack of memory.
#pragma once

#include "platform/media_asset.h"

struct AVStream;

namespace quorvane::platform::libav {

// The identity where the stream says nothing.
AffineTransform displayTransform(const AVStream& stream);
// Says nothing for the identity.
void setDisplayTransform(AVStream& stream, const AffineTransform& transform);

}  // namespace quorvane::platform::libav
