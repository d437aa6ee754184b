// On which display a frame lies, and the frame around several.
// Units: points of the global screen space. Threads: pure, any. Errors: none.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/shareable_content.h"
#include "support/geometry.h"

namespace quorvane::sources {

// The first display that contains the frame's midpoint, else the first that shares an area with
// the frame, however small; nothing when none does.
std::optional<std::uint32_t> displayIdForFrame(const support::Rect& frame,
                                               std::span<const platform::Display> displays);

// The smallest rectangle that contains all of them; nothing for none, a single one as it is.
std::optional<support::Rect> unionRect(std::span<const support::Rect> rects);

}  // namespace quorvane::sources
