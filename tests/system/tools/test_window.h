// A window to draw test pictures in, on the X server that DISPLAY names.
// Drawing goes to a canvas beside the window; show() brings it to the window in one request, so a
// capture never sees a half-drawn picture.
// Units: pixels; colours are 0xRRGGBB. Threads: one. Errors: std::runtime_error.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace quorvane::tools {

struct Placement {
    int x = 0;
    int y = 0;
    int width = 640;
    int height = 480;
    bool managed = false;  // by the window manager; else it lies where it is put, above the others
    std::string title = {};
};

// A rectangular cut of a texture and where in the window it goes.
struct TextureCut {
    int sourceX = 0;
    int sourceY = 0;
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

class TestWindow {
  public:
    explicit TestWindow(const Placement& placement);
    ~TestWindow();
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;

    int width() const { return placement_.width; }
    int height() const { return placement_.height; }

    void fill(std::uint32_t colour, int x, int y, int width, int height);
    // The number code's strip with its upper left corner there.
    void drawNumber(std::uint32_t number, int x, int y, int cell);
    void show(int x, int y, int width, int height);
    void showAll();
    // Moves what the canvas holds in that area up by that many lines.
    void scrollUp(int lines, int x, int y, int width, int height);

    // Uploads a big picture that cuts are taken from; row after row of the screen's own pixels (at
    // depth 24 0xRRGGBB).
    void setTexture(std::span<const std::uint32_t> pixels, int width, int height);
    // From the texture straight into the window, then the number's strip from the canvas; nobody
    // sees a state in between.
    void showCuts(std::span<const TextureCut> cuts, std::uint32_t number, int cell);

    // A red square of 24 pixels whose hot spot is its pixel (5, 7), while the pointer is inside.
    void setSquareCursor();

    // Waits until the server has carried out everything, and repaints what was uncovered (from the
    // canvas: a window that shows cuts is left alone).
    void sync();
    // Repaints as needed, for ever.
    [[noreturn]] void serve();

  private:
    struct Connection;
    void check() const;

    Placement placement_;
    std::unique_ptr<Connection> connection_;
};

}  // namespace quorvane::tools
