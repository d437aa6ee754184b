#include "pixels/bubble_painter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace quorvane::pixels {
namespace {

// A shadow as large soft light from above casts it.
constexpr double shadowStrength = 0.38;  // its alpha well inside
constexpr double shadowSoftness = 9;     // pixels, the standard deviation of its edge
constexpr double shadowDrop = 5;         // pixels downwards

std::uint8_t byteOf(double part) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(part, 0.0, 1.0) * 255));
}

// The part of a pixel that lies inside an outline at this distance from its middle.
double coverage(double distance) {
    return std::clamp(0.5 - distance, 0.0, 1.0);
}

std::uint32_t wordOf(const Color& color) {
    return 0xFF000000U | static_cast<std::uint32_t>(byteOf(color.red)) << 16 |
           static_cast<std::uint32_t>(byteOf(color.green)) << 8 | byteOf(color.blue);
}

// a * b / 255, rounded.
std::uint32_t scaled(std::uint32_t a, std::uint32_t b) {
    const std::uint32_t product = a * b + 128;
    return (product + (product >> 8)) >> 8;
}

// Between two opaque colours: so much of 255 of the upper one.
std::uint32_t mixed(std::uint32_t lower, std::uint32_t upper, std::uint32_t part) {
    std::uint32_t result = 0xFF000000U;
    for (const int shift : {0, 8, 16}) {
        const std::uint32_t low = lower >> shift & 0xFF;
        const std::uint32_t high = upper >> shift & 0xFF;
        result |= (scaled(low, 255 - part) + scaled(high, part)) << shift;
    }
    return result;
}

// An opaque colour over black of some alpha, premultiplied.
std::uint32_t over(std::uint32_t color, std::uint32_t part, std::uint32_t shadow) {
    std::uint32_t result = (part + scaled(shadow, 255 - part)) << 24;
    for (const int shift : {0, 8, 16})
        result |= scaled(color >> shift & 0xFF, part) << shift;
    return result;
}

}  // namespace

BubblePainter::BubblePainter(const BubbleLook& look)
    : look_(look), margin_(look.isTranslucent && look.hasShadow ? shadowMargin : 0) {
    plain_.resize(static_cast<std::size_t>(height()));
    shadow_.resize(static_cast<std::size_t>(width()) * height());
    for (int y = 0; y < height(); ++y) {
        for (int x = 0; x < width(); ++x)
            addPixel(x, y);
    }
}

// From the middle of the pixel to the outline moved inwards; negative inside.
double BubblePainter::distance(double x, double y, double inset) const {
    const double halfWidth = look_.width / 2.0 - inset;
    const double halfHeight = look_.height / 2.0 - inset;
    const double shortest = std::min(look_.width, look_.height) / 2.0;
    const double radius = std::max(std::clamp(look_.cornerRadius, 0.0, shortest) - inset, 0.0);
    const double dx = std::abs(x + 0.5 - width() / 2.0) - halfWidth + radius;
    const double dy = std::abs(y + 0.5 - height() / 2.0) - halfHeight + radius;
    const double outX = std::max(dx, 0.0);
    const double outY = std::max(dy, 0.0);
    return std::sqrt(outX * outX + outY * outY) + std::min(std::max(dx, dy), 0.0) - radius;
}

double BubblePainter::shadowAt(int x, int y) const {
    const double away = distance(x, y - shadowDrop, 0);
    // A straight edge that is blurred by a normal distribution.
    return shadowStrength * 0.5 * std::erfc(away / (shadowSoftness * std::numbers::sqrt2));
}

void BubblePainter::addPixel(int x, int y) {
    const double away = distance(x, y, 0);
    double inside = coverage(away);
    if (!look_.isTranslucent) inside = inside >= 0.5 ? 1 : 0;
    auto& shadow = shadow_[static_cast<std::size_t>(y) * width() + x];
    if (margin_ > 0 && inside < 1) shadow = byteOf(shadowAt(x, y));
    if (inside <= 0) return;

    const double withoutBorder = coverage(distance(x, y, look_.borderWidth));
    const auto border = byteOf((1 - withoutBorder) * look_.borderColor.alpha);
    auto& span = plain_[static_cast<std::size_t>(y)];
    if (inside >= 1 && border == 0) {
        // The outline is convex: the pixels of a row that are the picture's alone lie together.
        if (span.first == span.last) span.first = x;
        span.last = x + 1;
        return;
    }
    edges_.push_back({static_cast<std::uint16_t>(x), static_cast<std::uint16_t>(y), byteOf(inside),
                      border, shadow});
}

std::vector<RowSpan> BubblePainter::outline() const {
    auto spans = plain_;
    for (const auto& edge : edges_) {
        if (edge.inside < 128) continue;
        auto& span = spans[edge.y];
        if (span.first == span.last) span = {edge.x, edge.x};
        span.first = std::min<int>(span.first, edge.x);
        span.last = std::max<int>(span.last, edge.x + 1);
    }
    return spans;
}

void BubblePainter::paintSurroundings(PackedTarget target) const {
    for (int y = 0; y < height(); ++y) {
        const auto* shadow = shadow_.data() + static_cast<std::size_t>(y) * width();
        auto* row = target.at(0, y);
        for (int x = 0; x < width(); ++x)
            row[x] = static_cast<std::uint32_t>(shadow[x]) << 24;
    }
}

void BubblePainter::paint(PackedSource picture, PackedTarget target) const {
    const std::uint32_t background = wordOf(look_.backgroundColor);
    const std::uint32_t border = wordOf(look_.borderColor);
    for (int y = 0; y < height(); ++y) {
        const auto& span = plain_[static_cast<std::size_t>(y)];
        if (span.first == span.last) continue;
        auto* row = target.at(0, y);
        if (picture.pixels == nullptr) {
            std::fill(row + span.first, row + span.last, background);
        } else {
            std::memcpy(row + span.first, picture.at(span.first - margin_, y - margin_),
                        sizeof(std::uint32_t) * static_cast<std::size_t>(span.last - span.first));
        }
    }
    for (const auto& edge : edges_) {
        const std::uint32_t pixel = picture.pixels == nullptr
                                        ? background
                                        : *picture.at(edge.x - margin_, edge.y - margin_);
        *target.at(edge.x, edge.y) =
            over(mixed(pixel, border, edge.border), edge.inside, edge.shadow);
    }
}

}  // namespace quorvane::pixels
