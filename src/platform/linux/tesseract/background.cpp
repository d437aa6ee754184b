#include "platform/linux/tesseract/background.h"

#include <algorithm>
#include <array>
#include <limits>

#include "platform/linux/tesseract/panels.h"

namespace quorvane::platform::tesseract {
namespace {

// Pixels on each side of a pixel that must be like it. A bold letter of 30 pixels has strokes that
// are as wide as the window; the space between two rows of small text is as high.
constexpr int reach = 2;

// What a drawn background, a slight gradient included, varies by; and what the worst photograph of
// a page may.
constexpr int leastTolerance = 6;
constexpr int greatestTolerance = 40;
// This share of an image at least is background.
constexpr double leastBackgroundShare = 0.3;

// The extreme value (std::max, std::min) within reach, along the rows and then along the columns;
// beyond the edge is what lies at the edge.
template <class Extreme>
GreyImage extremes(const GreyImage& image, Extreme extreme) {
    const int width = image.width;
    GreyImage rows(width, image.height);
    for (int y = 0; y < image.height; ++y) {
        const auto* from = image.row(y);
        auto* to = rows.row(y);
        for (int x = 0; x < width; ++x) {
            auto value = from[x];
            for (int other = std::max(0, x - reach); other <= std::min(width - 1, x + reach);
                 ++other)
                value = extreme(value, from[other]);
            to[x] = value;
        }
    }
    GreyImage both = rows;
    for (int y = 0; y < image.height; ++y) {
        auto* to = both.row(y);
        for (int other = std::max(0, y - reach); other <= std::min(image.height - 1, y + reach);
             ++other) {
            const auto* from = rows.row(other);
            for (int x = 0; x < width; ++x)
                to[x] = extreme(to[x], from[x]);
        }
    }
    return both;
}

// How much the picture changes within reach of each pixel.
GreyImage changes(const GreyImage& image) {
    auto range = extremes(image, [](auto a, auto b) { return std::max(a, b); });
    const auto lowest = extremes(image, [](auto a, auto b) { return std::min(a, b); });
    std::transform(
        range.pixels.begin(), range.pixels.end(), lowest.pixels.begin(), range.pixels.begin(),
        [](std::uint8_t high, std::uint8_t low) { return static_cast<std::uint8_t>(high - low); });
    return range;
}

int toleranceOf(const GreyImage& changes) {
    std::array<std::size_t, 256> histogram{};
    for (const auto value : changes.pixels)
        ++histogram[value];
    const auto wanted =
        static_cast<std::size_t>(leastBackgroundShare * static_cast<double>(changes.pixels.size()));
    std::size_t count = 0;
    int tolerance = 0;
    for (; tolerance < greatestTolerance; ++tolerance) {
        count += histogram[static_cast<std::size_t>(tolerance)];
        if (count >= wanted) break;
    }
    return std::max(tolerance, leastTolerance);
}

// Spreads the known pixels over the unknown ones, each from its nearest, in two sweeps over the
// image: distances along rows, columns and diagonals.
class NearestSpread {
  public:
    NearestSpread(GreyImage& values, const GreyImage& changes, int tolerance)
        : values_(values), distances_(values.pixels.size(), unknown) {
        for (std::size_t at = 0; at < distances_.size(); ++at) {
            if (changes.pixels[at] <= tolerance) distances_[at] = 0;
        }
    }

    void forget(const PixelBox& box) {
        for (int y = box.top; y < box.bottom; ++y)
            std::fill_n(distances_.begin() + static_cast<std::ptrdiff_t>(index(box.left, y)),
                        box.width(), unknown);
    }

    void run() {
        for (int y = 0; y < values_.height; ++y) {
            if (y > 0) takeFromRow(y, y - 1);
            for (int x = 1; x < values_.width; ++x)
                take(index(x, y), index(x - 1, y), straight);
        }
        for (int y = values_.height - 1; y >= 0; --y) {
            if (y + 1 < values_.height) takeFromRow(y, y + 1);
            for (int x = values_.width - 2; x >= 0; --x)
                take(index(x, y), index(x + 1, y), straight);
        }
    }

  private:
    static constexpr std::uint16_t unknown = std::numeric_limits<std::uint16_t>::max();
    static constexpr int straight = 2;
    static constexpr int diagonal = 3;

    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(values_.width) +
               static_cast<std::size_t>(x);
    }

    void takeFromRow(int y, int other) {
        for (int x = 0; x < values_.width; ++x) {
            if (distances_[index(x, y)] == 0) continue;
            take(index(x, y), index(x, other), straight);
            if (x > 0) take(index(x, y), index(x - 1, other), diagonal);
            if (x + 1 < values_.width) take(index(x, y), index(x + 1, other), diagonal);
        }
    }

    void take(std::size_t to, std::size_t from, int step) {
        if (distances_[from] + step >= distances_[to]) return;
        distances_[to] = static_cast<std::uint16_t>(distances_[from] + step);
        values_.pixels[to] = values_.pixels[from];
    }

    GreyImage& values_;
    std::vector<std::uint16_t> distances_;
};

}  // namespace

Background estimateBackground(const GreyImage& image) {
    const auto change = changes(image);
    Background background{image, toleranceOf(change)};
    const auto panels = findPanels(image);
    NearestSpread spread(background.image, change, background.tolerance);
    // What is around a panel is not like it.
    for (const auto& panel : panels)
        spread.forget(panel.box);
    spread.run();
    for (const auto& panel : panels) {
        for (int y = panel.box.top; y < panel.box.bottom; ++y)
            std::fill_n(background.image.row(y) + panel.box.left, panel.box.width(), panel.value);
    }
    return background;
}

}  // namespace quorvane::platform::tesseract
