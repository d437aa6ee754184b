#include "support/geometry.h"

#include <algorithm>
#include <cmath>

namespace quorvane::support {

Rect Rect::normalised() const {
    return {minX(), minY(), std::abs(width), std::abs(height)};
}

double Rect::minX() const {
    return std::min(x, x + width);
}
double Rect::maxX() const {
    return std::max(x, x + width);
}
double Rect::minY() const {
    return std::min(y, y + height);
}
double Rect::maxY() const {
    return std::max(y, y + height);
}
Point Rect::midpoint() const {
    return {x + width / 2, y + height / 2};
}
bool Rect::isEmpty() const {
    return width == 0 || height == 0;
}

bool Rect::contains(Point point) const {
    return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
}

bool Rect::intersects(const Rect& other) const {
    return intersection(other).has_value();
}

std::optional<Rect> Rect::intersection(const Rect& other) const {
    const double left = std::max(minX(), other.minX());
    const double right = std::min(maxX(), other.maxX());
    const double top = std::max(minY(), other.minY());
    const double bottom = std::min(maxY(), other.maxY());
    if (!(left < right) || !(top < bottom)) return std::nullopt;
    return Rect{left, top, right - left, bottom - top};
}

Rect Rect::unionWith(const Rect& other) const {
    const double left = std::min(minX(), other.minX());
    const double top = std::min(minY(), other.minY());
    return {left, top, std::max(maxX(), other.maxX()) - left, std::max(maxY(), other.maxY()) - top};
}

double Rect::area() const {
    return std::abs(width) * std::abs(height);
}

}  // namespace quorvane::support
