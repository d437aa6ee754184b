// The names by which windows and window managers tell of themselves, as the server's numbers.
// Threads: the connection's for making it, then any. Errors: PlatformError.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/window_layer.h"

namespace quorvane::platform::x11 {

enum class Name {
    supportingCheck,
    clientListStacking,
    clientList,
    activeWindow,
    currentDesktop,
    netName,
    windowType,
    netState,
    stateHidden,
    stateShaded,
    state,
    desktop,
    frameExtents,
    shadowExtents,
    applicationID,
    utf8,
    compoundText,
    typeNormal,
    typeDialog,
    typeUtility,
    typeToolbar,
    typeSplash,
    typeDesktop,
    typeDock,
    typeMenu,
    typeDropDown,
    typePopUp,
    typeCombo,
    typeTooltip,
    typeNotification,
    typeDragged,
    count,
};

class WindowNames {
  public:
    // Waits for the server once.
    explicit WindowNames(const Connection& connection);

    std::uint32_t operator[](Name name) const { return atoms_[static_cast<std::size_t>(name)]; }
    // Nothing for a number that names no type.
    std::optional<WindowType> typeOf(std::uint32_t atom) const;

  private:
    std::vector<std::uint32_t> atoms_;
};

}  // namespace quorvane::platform::x11
