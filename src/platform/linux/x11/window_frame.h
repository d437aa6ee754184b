// What a program's window is part of: the child of the root window into which a window manager has
// put it, with its decorations.
// Units: root pixels. Threads: the connection's. Errors: PlatformError when the connection is lost;
// a window that is gone is an answer.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/pixel_rect.h"

namespace quorvane::platform::x11 {

// The child of the root window that contains the window: itself where no manager has put it into
// another. 0 when the window is gone. Waits for the server once a level.
// With events, it selects these of all windows on its way, so that whatever moves any of them from
// then on is told: the root window is told of its own children alone.
std::uint32_t topLevelOf(const Connection& connection, std::uint32_t window,
                         std::uint32_t events = 0);

struct WindowFrame {
    PixelRect outer;  // of the top level, with its border
    int border = 0;
    PixelRect seen;  // what the user sees of it (visible_frame.h), relative to `outer`; not empty
    bool viewable = false;  // the top level
    // And the window in it; not while it is minimised or shaded, nor from when its manager says so,
    // or leaves little of it in the frame: one may shrink the frame to its title, or shift the
    // window out of it, and say so later or never.
    bool showsWindow = false;
    std::uint32_t visual = 0;
};

// The properties by which a window and its manager tell what is seen of it.
struct WindowFrameAtoms {
    explicit WindowFrameAtoms(const Connection& connection);

    // Whether a change of this property may change the frame.
    bool tellOf(std::uint32_t property) const {
        return property == decorations || property == shadows || property == states;
    }

    std::uint32_t decorations;  // _NET_FRAME_EXTENTS
    std::uint32_t shadows;      // _GTK_FRAME_EXTENTS
    std::uint32_t states;       // _NET_WM_STATE
    std::uint32_t hidden;       // _NET_WM_STATE_HIDDEN, one of them
};

// Nothing when either window is gone. Waits for the server once.
std::optional<WindowFrame> windowFrameOf(const Connection& connection, std::uint32_t window,
                                         std::uint32_t topLevel, const WindowFrameAtoms& atoms);

}  // namespace quorvane::platform::x11
