#include "platform/linux/x11/window_layer.h"

namespace quorvane::platform::x11 {

int windowLayer(std::span<const WindowType> types, bool overridesRedirect) {
    switch (types.empty() ? WindowType::normal : types.front()) {
        case WindowType::desktop:
            return -1;
        case WindowType::dock:
            return 1;
        case WindowType::menu:
            return 3;
        case WindowType::tooltip:
            return 4;
        case WindowType::notification:
            return 5;
        case WindowType::draggedPicture:
            return 6;
        case WindowType::normal:
        case WindowType::dialog:
        case WindowType::utility:
        case WindowType::toolbar:
        case WindowType::splash:
            break;
    }
    return overridesRedirect ? 2 : 0;
}

}  // namespace quorvane::platform::x11
