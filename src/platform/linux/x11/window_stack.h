// The children of the root window, as they lie one on another, and whose they are.
// Why it does not ask for everything anew at each change: a window that is dragged changes its
// place a hundred times a second, and the events tell where to.
// Units: root pixels. Threads: the connection's. Errors: PlatformError when the connection is lost;
// windows that vanish while they are asked for are left out.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/pixel_rect.h"
#include "platform/linux/x11/window_owner.h"

struct xcb_get_property_reply_t;

namespace quorvane::platform::x11 {

struct TopLevel {
    std::uint32_t window = 0;
    // Tells windows apart that have had the same identifier, one after the other.
    unsigned life = 0;
    PixelRect outer;  // with its border
    int border = 0;
    bool mapped = false;
    bool hasPixels = false;  // else it only takes input
    // Minimised, says the manager of the program's window in it, which may keep it mapped. One that
    // is rolled up into its title is not.
    bool hidden = false;
    std::uint32_t visual = 0;
    std::uint32_t opacity = 0xFFFFFFFF;  // as its program wishes; all bits set is opaque
    std::int32_t processID = 0;          // of the program in it, not of its manager; 0: not known
    unsigned mappings = 0;               // how often it was mapped: each begins a new picture
    unsigned shapings = 0;               // how often its shape has changed
};

class WindowStack {
  public:
    // What the connection must select of the root window.
    static const std::uint32_t rootEvents;
    // What it selects of other windows. Whoever selects of them on the same connection selects just
    // this: each selection replaces the one before.
    static const std::uint32_t windowEvents;

    explicit WindowStack(const Connection& connection);

    bool handle(const Event& event);
    // Something has changed since the last update().
    bool noticed() const { return noticed_; }
    // Waits for the server as far as the events do not tell everything.
    void update();

    std::span<const TopLevel> bottomToTop() const { return windows_; }
    // One window lies over all of it, by what the events have told so far.
    bool isCovered(std::uint32_t window) const;

  private:
    TopLevel* find(std::uint32_t window);
    // It tells of the structure what a window itself is told.
    bool isOfOneWindow(const Event& event) const;
    bool handleConfigure(const void* record);
    void readTree();
    void identify();
    // Reads as well whether they are hidden.
    std::vector<std::uint32_t> programWindowsOf(std::span<const std::size_t> indices);
    bool saysHidden(const xcb_get_property_reply_t* state,
                    const xcb_get_property_reply_t* states) const;
    void readOpacities(std::span<const std::size_t> indices,
                       std::span<const std::uint32_t> programWindows);

    const Connection& connection_;
    const WindowOwners owners_;
    std::uint32_t stateAtom_;   // WM_STATE
    std::uint32_t statesAtom_;  // _NET_WM_STATE, and two of them
    std::uint32_t hiddenAtom_;
    std::uint32_t shadedAtom_;
    std::uint32_t opacityAtom_;
    std::uint8_t shapeNoticeType_ = 0;  // 0: no shapes

    std::vector<TopLevel> windows_;
    unsigned lives_ = 0;
    bool noticed_ = true;
    bool treeNoticed_ = true;
    bool identityNoticed_ = true;
};

}  // namespace quorvane::platform::x11
