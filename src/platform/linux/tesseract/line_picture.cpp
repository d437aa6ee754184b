#include "platform/linux/tesseract/line_picture.h"

#include <cmath>
#include <numbers>

namespace quorvane::platform::tesseract {
namespace {

// Small text is read best three times as large; more than this many pixels of height gain nothing.
constexpr double greatestScale = 3;
constexpr int wantedHeight = 54;
// White around the line, in pixels of the image.
constexpr int margin = 4;
// The ink's antialiased edge lies up to this far outside of its box.
constexpr int edge = 1;

constexpr int lobes = 3;  // of the Lanczos filter, on each side

double lanczos(double x) {
    if (x == 0) return 1;
    if (std::abs(x) >= lobes) return 0;
    const double angle = std::numbers::pi * x;
    return lobes * std::sin(angle) * std::sin(angle / lobes) / (angle * angle);
}

// What one pixel of a scaled row is made of.
struct Taps {
    int first = 0;
    std::vector<float> weights;
};

std::vector<Taps> tapsFor(int from, int to) {
    const double scale = static_cast<double>(to) / from;
    // Made smaller, the filter covers all the pixels that become one.
    const double stretch = std::max(1.0, 1 / scale);
    std::vector<Taps> all(static_cast<std::size_t>(to));
    for (int at = 0; at < to; ++at) {
        const double centre = (at + 0.5) / scale - 0.5;
        auto& taps = all[static_cast<std::size_t>(at)];
        taps.first = std::max(0, static_cast<int>(std::ceil(centre - lobes * stretch)));
        const int last = std::min(from - 1, static_cast<int>(std::floor(centre + lobes * stretch)));
        double sum = 0;
        for (int tap = taps.first; tap <= last; ++tap) {
            const double weight = lanczos((tap - centre) / stretch);
            taps.weights.push_back(static_cast<float>(weight));
            sum += weight;
        }
        for (auto& weight : taps.weights)
            weight /= static_cast<float>(sum);
    }
    return all;
}

GreyImage scaled(const GreyImage& image, int width, int height) {
    const auto columns = tapsFor(image.width, width);
    const auto rows = tapsFor(image.height, height);
    std::vector<float> wide(static_cast<std::size_t>(width) *
                            static_cast<std::size_t>(image.height));
    for (int y = 0; y < image.height; ++y) {
        const auto* from = image.row(y);
        auto* to = wide.data() + static_cast<std::ptrdiff_t>(y) * width;
        for (const auto& taps : columns) {
            float sum = 0;
            for (std::size_t tap = 0; tap < taps.weights.size(); ++tap)
                sum += taps.weights[tap] *
                       static_cast<float>(from[taps.first + static_cast<int>(tap)]);
            *to++ = sum;
        }
    }
    GreyImage result(width, height);
    std::vector<float> sums(static_cast<std::size_t>(width));
    for (int y = 0; y < height; ++y) {
        const auto& taps = rows[static_cast<std::size_t>(y)];
        std::fill(sums.begin(), sums.end(), 0.5F);  // rounds
        for (std::size_t tap = 0; tap < taps.weights.size(); ++tap) {
            const auto* from =
                wide.data() +
                static_cast<std::ptrdiff_t>(taps.first + static_cast<int>(tap)) * width;
            for (std::size_t x = 0; x < sums.size(); ++x)
                sums[x] += taps.weights[tap] * from[x];
        }
        auto* to = result.row(y);
        for (std::size_t x = 0; x < sums.size(); ++x)
            to[x] = static_cast<std::uint8_t>(std::clamp(sums[x], 0.0F, 255.0F));
    }
    return result;
}

}  // namespace

GreyImage linePicture(const GreyImage& image, const Background& background, const TextLine& line) {
    const PixelBox taken{std::max(0, line.box.left - edge), std::max(0, line.box.top - edge),
                         std::min(image.width, line.box.right + edge),
                         std::min(image.height, line.box.bottom + edge)};
    int most = 1;
    for (int y = taken.top; y < taken.bottom; ++y) {
        for (int x = taken.left; x < taken.right; ++x)
            most = std::max(most, inkAt(image.row(y)[x], background.image.row(y)[x], line.ink));
    }
    GreyImage picture(taken.width() + 2 * margin, taken.height() + 2 * margin, 255);
    for (int y = taken.top; y < taken.bottom; ++y) {
        auto* to = picture.row(y - taken.top + margin) + margin;
        for (int x = taken.left; x < taken.right; ++x) {
            const int ink = inkAt(image.row(y)[x], background.image.row(y)[x], line.ink);
            *to++ = static_cast<std::uint8_t>(255 - ink * 255 / most);
        }
    }
    const double scale =
        std::min(greatestScale, static_cast<double>(wantedHeight) / line.box.height());
    return scaled(picture, std::max(1, static_cast<int>(std::lround(picture.width * scale))),
                  std::max(1, static_cast<int>(std::lround(picture.height * scale))));
}

}  // namespace quorvane::platform::tesseract
