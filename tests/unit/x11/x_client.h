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
    void moveWindow(std::uint32_t window, int x, int y);
    void closeWindow(std::uint32_t window);

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
    std::uint32_t atom(const std::string& name);
    void sync();

    Connection connection_;
};

}  // namespace quorvane::platform::x11
