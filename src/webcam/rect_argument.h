// A rectangle as the parent writes it: "x,y,width,height".
// Threads: pure, any. Errors: nothing for a text that is no rectangle.
#pragma once

#include <optional>
#include <string_view>

#include "support/geometry.h"

namespace quorvane::webcam {

// Four numbers between commas; empty pieces do not count, so a doubled comma is forgiven. Spaces
// and tabs around a number are skipped. Signs and sizes are not checked.
std::optional<support::Rect> parseRectArg(std::string_view text);

}  // namespace quorvane::webcam
