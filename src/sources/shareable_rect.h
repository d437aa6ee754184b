// A rectangle as the program's documents carry it: the frames of displays and windows, and the
// boxes of recognised text.
// Units: those of what it stands in. Threads: values, any. Errors: a number that is not finite
// cannot be encoded.
#pragma once

#include "support/geometry.h"
#include "support/json.h"

namespace quorvane::sources {

struct ShareableRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const ShareableRect&) const = default;
};

// The origin as it is stored; the sides are never negative.
inline ShareableRect shareableRect(const support::Rect& rect) {
    const support::Rect normalised = rect.normalised();
    return {rect.x, rect.y, normalised.width, normalised.height};
}

inline void encode(const ShareableRect& rect, support::JsonObject& object) {
    object.member("x", rect.x);
    object.member("y", rect.y);
    object.member("width", rect.width);
    object.member("height", rect.height);
}

}  // namespace quorvane::sources
