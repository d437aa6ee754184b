#include "test_window.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>

#include <xcb/xcb.h>

#include "number_code.h"

namespace quorvane::tools {

namespace {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename Reply>
using ReplyPtr = std::unique_ptr<Reply, FreeDeleter>;

xcb_rectangle_t rectangle(int x, int y, int width, int height) {
    return {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
            static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height)};
}

}  // namespace

struct TestWindow::Connection {
    xcb_connection_t* xcb = nullptr;
    xcb_screen_t* screen = nullptr;
    xcb_window_t window = 0;
    xcb_pixmap_t canvas = 0;
    xcb_pixmap_t texture = 0;
    xcb_gcontext_t gc = 0;

    ~Connection() { xcb_disconnect(xcb); }

    // The screen's value for a colour; screens have 8 or, at depth 30, 10 bits a channel.
    std::uint32_t pixel(std::uint32_t colour) const {
        if (screen->root_depth != 30) return colour;
        const auto wide = [&](int shift) {
            const std::uint32_t level = colour >> shift & 0xFFU;
            return level << 2 | level >> 6;
        };
        return wide(16) << 20 | wide(8) << 10 | wide(0);
    }
};

TestWindow::TestWindow(const Placement& placement)
    : placement_(placement), connection_(std::make_unique<Connection>()) {
    auto& c = *connection_;
    int screenNumber = 0;
    c.xcb = xcb_connect(nullptr, &screenNumber);
    check();
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(c.xcb));
    for (; screenNumber > 0; --screenNumber)
        xcb_screen_next(&screens);
    c.screen = screens.data;

    const auto width = static_cast<std::uint16_t>(placement.width);
    const auto height = static_cast<std::uint16_t>(placement.height);
    const std::array<std::uint32_t, 3> attributes{
        XCB_BACK_PIXMAP_NONE, placement.managed ? 0U : 1U,
        XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY};
    c.window = xcb_generate_id(c.xcb);
    xcb_create_window(
        c.xcb, XCB_COPY_FROM_PARENT, c.window, c.screen->root,
        static_cast<std::int16_t>(placement.x), static_cast<std::int16_t>(placement.y), width,
        height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, c.screen->root_visual,
        XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, attributes.data());
    // WM_NORMAL_HINTS with the position and size given by the user, so that it is kept.
    std::array<std::uint32_t, 18> hints{1U | 2U, static_cast<std::uint32_t>(placement.x),
                                        static_cast<std::uint32_t>(placement.y), width, height};
    xcb_change_property(c.xcb, XCB_PROP_MODE_REPLACE, c.window, XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS, 32, hints.size(), hints.data());

    xcb_change_property(c.xcb, XCB_PROP_MODE_REPLACE, c.window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING,
                        8, static_cast<std::uint32_t>(placement.title.size()),
                        placement.title.data());

    c.canvas = xcb_generate_id(c.xcb);
    xcb_create_pixmap(c.xcb, c.screen->root_depth, c.canvas, c.screen->root, width, height);
    c.gc = xcb_generate_id(c.xcb);
    const std::uint32_t noExposures = 0;
    xcb_create_gc(c.xcb, c.gc, c.canvas, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
    fill(0, 0, 0, placement.width, placement.height);

    xcb_map_window(c.xcb, c.window);
    xcb_flush(c.xcb);
    for (bool mapped = false; !mapped;) {
        const ReplyPtr<xcb_generic_event_t> event(xcb_wait_for_event(c.xcb));
        if (!event) throw std::runtime_error("The X server ended the connection.");
        mapped = (event->response_type & 0x7f) == XCB_MAP_NOTIFY;
    }
}

TestWindow::~TestWindow() = default;

void TestWindow::check() const {
    if (xcb_connection_has_error(connection_->xcb) != 0) {
        throw std::runtime_error("The X server cannot be reached.");
    }
}

void TestWindow::fill(std::uint32_t colour, int x, int y, int width, int height) {
    auto& c = *connection_;
    const std::uint32_t pixel = c.pixel(colour);
    xcb_change_gc(c.xcb, c.gc, XCB_GC_FOREGROUND, &pixel);
    const auto area = rectangle(x, y, width, height);
    xcb_poly_fill_rectangle(c.xcb, c.canvas, c.gc, 1, &area);
}

void TestWindow::drawNumber(std::uint32_t number, int x, int y, int cell) {
    auto& c = *connection_;
    fill(0, x, y, numberCodeCells * cell, cell);
    const auto cells = numberCode(number);
    std::array<xcb_rectangle_t, numberCodeCells> white{};
    std::uint32_t count = 0;
    for (int index = 0; index < numberCodeCells; ++index) {
        if (cells.at(static_cast<std::size_t>(index))) {
            white.at(count++) = rectangle(x + index * cell, y, cell, cell);
        }
    }
    const std::uint32_t pixel = c.pixel(0xFFFFFF);
    xcb_change_gc(c.xcb, c.gc, XCB_GC_FOREGROUND, &pixel);
    xcb_poly_fill_rectangle(c.xcb, c.canvas, c.gc, count, white.data());
}

void TestWindow::show(int x, int y, int width, int height) {
    auto& c = *connection_;
    const auto area = rectangle(x, y, width, height);
    xcb_copy_area(c.xcb, c.canvas, c.window, c.gc, area.x, area.y, area.x, area.y, area.width,
                  area.height);
}

void TestWindow::showAll() {
    show(0, 0, placement_.width, placement_.height);
}

void TestWindow::scrollUp(int lines, int x, int y, int width, int height) {
    auto& c = *connection_;
    const auto area = rectangle(x, y, width, height);
    xcb_copy_area(c.xcb, c.canvas, c.canvas, c.gc, area.x,
                  static_cast<std::int16_t>(area.y + lines), area.x, area.y, area.width,
                  static_cast<std::uint16_t>(area.height - lines));
}

void TestWindow::setTexture(std::span<const std::uint32_t> pixels, int width, int height) {
    auto& c = *connection_;
    c.texture = xcb_generate_id(c.xcb);
    xcb_create_pixmap(c.xcb, c.screen->root_depth, c.texture, c.screen->root,
                      static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height));
    constexpr int stripHeight = 16;  // a request stays far below the server's limit
    for (int y = 0; y < height; y += stripHeight) {
        const int rows = std::min(stripHeight, height - y);
        const auto strip = pixels.subspan(static_cast<std::size_t>(y) * width,
                                          static_cast<std::size_t>(rows) * width);
        xcb_put_image(c.xcb, XCB_IMAGE_FORMAT_Z_PIXMAP, c.texture, c.gc,
                      static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(rows), 0,
                      static_cast<std::int16_t>(y), 0, c.screen->root_depth,
                      static_cast<std::uint32_t>(strip.size_bytes()),
                      reinterpret_cast<const std::uint8_t*>(strip.data()));
    }
}

void TestWindow::showCuts(std::span<const TextureCut> cuts, std::uint32_t number, int cell) {
    auto& c = *connection_;
    drawNumber(number, 0, 0, cell);
    xcb_grab_server(c.xcb);
    for (const auto& cut : cuts) {
        xcb_copy_area(c.xcb, c.texture, c.window, c.gc, static_cast<std::int16_t>(cut.sourceX),
                      static_cast<std::int16_t>(cut.sourceY), static_cast<std::int16_t>(cut.x),
                      static_cast<std::int16_t>(cut.y), static_cast<std::uint16_t>(cut.width),
                      static_cast<std::uint16_t>(cut.height));
    }
    show(0, 0, numberCodeCells * cell, cell);
    xcb_ungrab_server(c.xcb);
}

void TestWindow::setSquareCursor() {
    auto& c = *connection_;
    constexpr std::uint16_t size = 24;
    const xcb_pixmap_t shape = xcb_generate_id(c.xcb);
    xcb_create_pixmap(c.xcb, 1, shape, c.screen->root, size, size);
    const xcb_gcontext_t gc = xcb_generate_id(c.xcb);
    const std::uint32_t one = 1;
    xcb_create_gc(c.xcb, gc, shape, XCB_GC_FOREGROUND, &one);
    const auto area = rectangle(0, 0, size, size);
    xcb_poly_fill_rectangle(c.xcb, shape, gc, 1, &area);
    const xcb_cursor_t cursor = xcb_generate_id(c.xcb);
    xcb_create_cursor(c.xcb, cursor, shape, shape, 0xFFFF, 0, 0, 0xFFFF, 0, 0, 5, 7);
    xcb_change_window_attributes(c.xcb, c.window, XCB_CW_CURSOR, &cursor);
}

void TestWindow::sync() {
    auto& c = *connection_;
    const ReplyPtr<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(c.xcb, xcb_get_input_focus(c.xcb), nullptr));
    check();
    bool uncovered = false;
    while (true) {
        const ReplyPtr<xcb_generic_event_t> event(xcb_poll_for_event(c.xcb));
        if (!event) break;
        uncovered |= (event->response_type & 0x7f) == XCB_EXPOSE;
    }
    if (uncovered && c.texture == 0) {
        showAll();
        xcb_flush(c.xcb);
    }
}

void TestWindow::serve() {
    auto& c = *connection_;
    xcb_flush(c.xcb);
    while (true) {
        const ReplyPtr<xcb_generic_event_t> event(xcb_wait_for_event(c.xcb));
        if (!event) throw std::runtime_error("The X server ended the connection.");
        const bool uncovered = (event->response_type & 0x7f) == XCB_EXPOSE;
        if (uncovered && c.texture == 0) showAll();
        xcb_flush(c.xcb);
    }
}

}  // namespace quorvane::tools
