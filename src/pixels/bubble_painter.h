// Paints the bubble: a picture inside a rounded rectangle with a border, and a soft shadow beneath.
// Why by distance to the outline: that gives each pixel on an edge the part of it that lies inside,
// so edges are smooth at every radius, and one formula for mask, border and shadow.
// Units: pixels. Threads: one at a time. Errors: none.
#pragma once

#include <cstdint>
#include <vector>

#include "pixels/packed_pixels.h"

namespace quorvane::pixels {

// A colour with the parts in [0, 1].
struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 0;
    bool operator==(const Color&) const = default;
};

struct BubbleLook {
    int width = 0;  // of the bubble itself
    int height = 0;
    double cornerRadius = 0;  // more than half a side is half of it
    double borderWidth = 0;   // inside the outline
    Color borderColor;
    Color backgroundColor;  // opaque; where there is no picture
    // What is below shines through: smooth outlines and, when wanted, a shadow. Without it every
    // pixel belongs to the bubble or does not.
    bool isTranslucent = false;
    bool hasShadow = false;
    bool operator==(const BubbleLook&) const = default;
};

// From one row of pixels, those from the first up to (without) the last. Empty when both are equal.
struct RowSpan {
    int first = 0;
    int last = 0;
    bool operator==(const RowSpan&) const = default;
};

class BubblePainter {
  public:
    static constexpr int shadowMargin = 32;  // where nothing is seen of a shadow any more

    explicit BubblePainter(const BubbleLook& look);

    const BubbleLook& look() const { return look_; }
    // How far the shadow reaches around the bubble on every side.
    int margin() const { return margin_; }
    // The painted area: the bubble and its margins.
    int width() const { return look_.width + 2 * margin_; }
    int height() const { return look_.height + 2 * margin_; }
    // The bubble's pixels in each row of the painted area, to cut a window by.
    std::vector<RowSpan> outline() const;

    // Everything around the bubble, which no picture changes.
    void paintSurroundings(PackedTarget target) const;
    // The bubble with the picture, width by height of the look, 0xFFRRGGBB; without one (no pixels)
    // its background. The results are premultiplied, 0xAARRGGBB. The target holds the surroundings.
    void paint(PackedSource picture, PackedTarget target) const;

  private:
    struct EdgePixel {
        std::uint16_t x;  // in the painted area
        std::uint16_t y;
        std::uint8_t inside;  // of 255
        std::uint8_t border;  // of 255, the border's own alpha included
        std::uint8_t shadow;  // of 255, its alpha
    };

    double distance(double x, double y, double inset) const;
    double shadowAt(int x, int y) const;
    void addPixel(int x, int y);

    BubbleLook look_;
    int margin_ = 0;
    std::vector<RowSpan> plain_;        // the picture alone, a span a row of the painted area
    std::vector<EdgePixel> edges_;      // every other pixel of the bubble
    std::vector<std::uint8_t> shadow_;  // the alpha of every pixel of the painted area
};

}  // namespace quorvane::pixels
