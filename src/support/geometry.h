// Points, sizes and rectangles of the global screen space: origin at the upper left, y downwards,
// units are points (doubles), which on X11 are pixels.
// Threads: values, any thread. Errors: none.
#pragma once

#include <optional>
#include <span>

namespace quorvane::support {

struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

// A rectangle as stored: a negative width or height is kept and means the same area as the
// normalised rectangle; every operation below works on the normalised one.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const Rect&) const = default;

    Rect normalised() const;
    double minX() const;
    double maxX() const;
    double minY() const;
    double maxY() const;
    Point midpoint() const;
    bool isEmpty() const;  // no width or no height

    // The minimum edges belong to the rectangle, the maximum edges do not.
    bool contains(Point point) const;
    // Whether the two share an area; touching edges do not count.
    bool intersects(const Rect& other) const;
    // Nothing when they share no area.
    std::optional<Rect> intersection(const Rect& other) const;
    // The smallest rectangle that contains both.
    Rect unionWith(const Rect& other) const;
    // 0 for an empty rectangle.
    double area() const;
};

}  // namespace quorvane::support
