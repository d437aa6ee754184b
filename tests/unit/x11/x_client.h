// A program that draws on the screen under test.
// Each call returns when the server has done it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/pixel_rect.h"

namespace quorvane::platform::x11 {

class XClient {
  public:
    explicit XClient(const std::string& displayName) : connection_(displayName) {}

    // On the root window; the pixel is a word of the screen's format.
    void fill(const PixelRect& rect, std::uint32_t pixel);
    void put(const PixelRect& rect, const std::vector<std::uint32_t>& pixels);
    std::vector<std::uint32_t> get(const PixelRect& rect);

    // A window that no window manager touches, in one colour.
    std::uint32_t openWindow(const PixelRect& rect, std::uint32_t pixel);
    // Closes it and opens another under its identifier, at once.
    void replaceWindow(std::uint32_t window, const PixelRect& rect, std::uint32_t pixel);
    // One whose pixels are drawn by this client alone, and only once: its server knows no
    // background for it. With an alpha its visual has 32 bits.
    std::uint32_t openBareWindow(const PixelRect& rect, bool withAlpha = false);
    // It is not mapped yet.
    std::uint32_t makeBareWindow(const PixelRect& rect, bool withAlpha = false);
    // In another window, relative to it; 0 is the root. It is not mapped yet.
    std::uint32_t makeWindow(const PixelRect& rect, std::uint32_t pixel, std::uint32_t parent,
                             int border = 0);
    void mapWindow(std::uint32_t window);
    void unmapWindow(std::uint32_t window);
    void moveWindow(std::uint32_t window, int x, int y);
    void resizeWindow(std::uint32_t window, int width, int height);
    void raiseWindow(std::uint32_t window);
    void lowerWindow(std::uint32_t window);
    void reparentWindow(std::uint32_t window, std::uint32_t parent, int x, int y);
    void closeWindow(std::uint32_t window);
    // Its bounding shape; none makes it a rectangle again.
    void shapeWindow(std::uint32_t window, const std::vector<PixelRect>& shape);
    void fillWindow(std::uint32_t window, const PixelRect& rect, std::uint32_t pixel);
    // The background of the root window, which is drawn at once.
    void setRootBackground(std::uint32_t pixel);
    void setProperty(std::uint32_t window, const std::string& name,
                     const std::vector<std::uint32_t>& values);
    // Of _NET_WM_STATE, by their names: as a window manager tells of a window.
    void setStates(std::uint32_t window, const std::vector<std::string>& names);
    // Of type STRING.
    void setText(std::uint32_t window, const std::string& name, const std::string& text);
    // As a window manager marks the windows that it manages.
    void markManaged(std::uint32_t window);
    // As compositing managers tell of themselves; it redirects nothing.
    void claimToComposite();
    // As they do then with all windows, as long as this client lives.
    void redirectByHand();
    // A pixmap in one colour, set as the desktop's picture.
    void setDesktopPicture(std::uint32_t pixel);
    std::uint32_t root() const { return connection_.root(); }

    // An 8x8 cursor whose pixels are red where (x + y) is even and blue elsewhere, but for its
    // lowest row, which is transparent.
    void setCursor(int hotX, int hotY);
    void movePointer(int x, int y);
    // As a mouse does, not as a program does.
    void moveDevice(int x, int y);

    void setMonitor(const std::string& name, const PixelRect& rect, bool primary = false);
    void deleteMonitor(const std::string& name);
    // Nobody sees the moment without it.
    void replaceMonitor(const std::string& name, const PixelRect& rect);

  private:
    void openWindow(std::uint32_t window, const PixelRect& rect, std::uint32_t pixel);
    std::uint32_t atom(const std::string& name);
    void sync();

    Connection connection_;
};

}  // namespace quorvane::platform::x11
