#include "platform/linux/x11/window_names.h"

#include <array>
#include <string>
#include <utility>

#include "platform/linux/x11/atoms.h"

namespace quorvane::platform::x11 {

WindowNames::WindowNames(const Connection& connection) {
    const std::array<std::string, static_cast<std::size_t>(Name::count)> texts{
        "_NET_SUPPORTING_WM_CHECK",
        "_NET_CLIENT_LIST_STACKING",
        "_NET_CLIENT_LIST",
        "_NET_ACTIVE_WINDOW",
        "_NET_CURRENT_DESKTOP",
        "_NET_WM_NAME",
        "_NET_WM_WINDOW_TYPE",
        "_NET_WM_STATE",
        "_NET_WM_STATE_HIDDEN",
        "_NET_WM_STATE_SHADED",
        "WM_STATE",
        "_NET_WM_DESKTOP",
        "_NET_FRAME_EXTENTS",
        "_GTK_FRAME_EXTENTS",
        "_GTK_APPLICATION_ID",
        "UTF8_STRING",
        "COMPOUND_TEXT",
        "_NET_WM_WINDOW_TYPE_NORMAL",
        "_NET_WM_WINDOW_TYPE_DIALOG",
        "_NET_WM_WINDOW_TYPE_UTILITY",
        "_NET_WM_WINDOW_TYPE_TOOLBAR",
        "_NET_WM_WINDOW_TYPE_SPLASH",
        "_NET_WM_WINDOW_TYPE_DESKTOP",
        "_NET_WM_WINDOW_TYPE_DOCK",
        "_NET_WM_WINDOW_TYPE_MENU",
        "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU",
        "_NET_WM_WINDOW_TYPE_POPUP_MENU",
        "_NET_WM_WINDOW_TYPE_COMBO",
        "_NET_WM_WINDOW_TYPE_TOOLTIP",
        "_NET_WM_WINDOW_TYPE_NOTIFICATION",
        "_NET_WM_WINDOW_TYPE_DND",
    };
    atoms_ = atomsOf(connection, texts);
}

std::optional<WindowType> WindowNames::typeOf(std::uint32_t atom) const {
    static constexpr std::pair<Name, WindowType> types[] = {
        {Name::typeNormal, WindowType::normal},
        {Name::typeDialog, WindowType::dialog},
        {Name::typeUtility, WindowType::utility},
        {Name::typeToolbar, WindowType::toolbar},
        {Name::typeSplash, WindowType::splash},
        {Name::typeDesktop, WindowType::desktop},
        {Name::typeDock, WindowType::dock},
        {Name::typeMenu, WindowType::menu},
        {Name::typeDropDown, WindowType::menu},
        {Name::typePopUp, WindowType::menu},
        {Name::typeCombo, WindowType::menu},
        {Name::typeTooltip, WindowType::tooltip},
        {Name::typeNotification, WindowType::notification},
        {Name::typeDragged, WindowType::draggedPicture},
    };
    for (const auto& [name, type] : types) {
        if ((*this)[name] == atom) return type;
    }
    return std::nullopt;
}

}  // namespace quorvane::platform::x11
