// The test pictures that picture_source can show. Each function draws in the window for ever.
// Errors: std::runtime_error when the X server is gone.
#pragma once

#include <cstdint>

#include "draw_log.h"
#include "test_window.h"

namespace quorvane::tools {

constexpr int numberCell = 16;  // pixels of a number code's cell

// Sixteen patches of exact colours and lines one pixel wide at uneven distances; never changes.
void drawPattern(TestWindow& window);

// A new number code at that rate (pictures a second), the rest plain.
void runCounter(TestWindow& window, DrawLog& log, double rate);

// A page on which somebody types: ten letters a second.
void runTyping(TestWindow& window, DrawLog& log);

// A page that scrolls up by six lines of pixels a picture, 60 pictures a second.
void runScrolling(TestWindow& window, DrawLog& log);

// A picture that changes everywhere, 60 times a second: twelve tiles, each gliding over a large
// texture its own way. Cheap to draw, so that the load is the recorder's and not the drawing's.
void runMotion(TestWindow& window, DrawLog& log);
// That load's picture of that number alone; never changes.
void drawMotion(TestWindow& window, std::uint32_t number);

}  // namespace quorvane::tools
