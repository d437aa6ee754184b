// The layers of windows. 0 is for those that people work in; the others never take part in lists
// of what can be recorded, but are known.
// Threads: pure, any. Errors: none.
#pragma once

#include <span>

namespace quorvane::platform::x11 {

enum class WindowType {
    normal,
    dialog,
    utility,
    toolbar,
    splash,
    desktop,
    dock,
    menu,  // of every sort, drop-down lists too
    tooltip,
    notification,
    draggedPicture,
};

// By the first of the types that a window says it is of, the most fitting first. One without a type
// is a normal one; one of those five that no window manager touches lies on a layer of its own.
int windowLayer(std::span<const WindowType> types, bool overridesRedirect);

}  // namespace quorvane::platform::x11
