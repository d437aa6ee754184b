// What a user sees of a window: with the decorations of the window manager, without the shadows
// that the window draws around itself.
// Units: pixels of the root window. Threads: pure, any. Errors: none.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "support/geometry.h"

namespace quorvane::platform::x11 {

struct Extents {
    double left = 0;
    double right = 0;
    double top = 0;
    double bottom = 0;
};

// From the property _NET_FRAME_EXTENTS or _GTK_FRAME_EXTENTS: left, right, top, bottom. Nothing
// when it is too short, or beyond the coordinates that there are.
std::optional<Extents> extentsFrom(std::span<const std::uint32_t> property);

struct WindowPlacement {
    support::Rect client;  // inside of its border
    double clientBorder = 0;
    // With its border; of the child of the root that the window lies in, if it is not that itself.
    std::optional<support::Rect> frame;
    std::optional<Extents> decorations;  // as the window manager tells
    Extents shadows;                     // as the window tells
};

support::Rect visibleFrame(const WindowPlacement& placement);

}  // namespace quorvane::platform::x11
