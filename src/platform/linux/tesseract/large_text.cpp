#include "platform/linux/tesseract/large_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "platform/linux/tesseract/ink_shapes.h"
#include "platform/linux/tesseract/panels.h"
#include "platform/linux/tesseract/text_lines.h"

namespace quorvane::platform::tesseract {
namespace {

// How many times smaller the copy is, which makes letters of 100 pixels what 25 are.
constexpr int shrinking = 4;
// The share of a line that its letters cover. Rows of icons and pictures cover more.
constexpr double greatestInkShare = 0.65;
// Of the letters' pixels, this share at least was taken for background.
constexpr double leastMistakenShare = 0.05;

// What does not fill a whole pixel at the right and at the bottom is left out.
GreyImage shrunk(const GreyImage& image) {
    GreyImage small(image.width / shrinking, image.height / shrinking);
    for (int y = 0; y < small.height; ++y) {
        for (int x = 0; x < small.width; ++x) {
            int sum = 0;
            for (int row = 0; row < shrinking; ++row) {
                const auto* from = image.row(y * shrinking + row) + std::ptrdiff_t{x} * shrinking;
                for (int column = 0; column < shrinking; ++column)
                    sum += from[column];
            }
            small.row(y)[x] = static_cast<std::uint8_t>(sum / (shrinking * shrinking));
        }
    }
    return small;
}

class LargeText {
  public:
    LargeText(const GreyImage& image, Background& background)
        : background_(background),
          small_(shrunk(image)),
          smallBackground_(estimateBackground(small_)),
          onPanel_(panelMask(image)) {}

    void reveal() {
        std::vector<PixelBox> mistaken;
        for (const auto ink : {Ink::dark, Ink::light}) {
            for (const auto& line : joinIntoLines(findInkShapes(small_, smallBackground_, ink))) {
                if (isMistaken(line, ink)) mistaken.push_back(line);
            }
        }
        for (const auto& line : mistaken)
            replaceBackground(line);
    }

  private:
    // What is on a panel has that for its background, however large it is.
    GreyImage panelMask(const GreyImage& image) const {
        GreyImage mask(small_.width, small_.height);
        for (const auto& panel : findPanels(image)) {
            const int left = panel.outer.left / shrinking;
            const int right = std::min(small_.width, panel.outer.right / shrinking + 1);
            const int bottom = std::min(small_.height, panel.outer.bottom / shrinking + 1);
            for (int y = panel.outer.top / shrinking; y < bottom; ++y) {
                for (int x = left; x < right; ++x)
                    mask.row(y)[x] = 1;
            }
        }
        return mask;
    }

    // One small pixel more on each side: a letter's edge is less ink than a small pixel takes.
    PixelBox around(const PixelBox& line) const {
        return {std::max(0, line.left - 1), std::max(0, line.top - 1),
                std::min(small_.width, line.right + 1), std::min(small_.height, line.bottom + 1)};
    }

    // Whether there is one background around the line. Where there are two, the small image need
    // not show enough of each.
    bool isOnOneBackground(const PixelBox& line, int least) const {
        const auto box = around(line);
        int low = 255;
        int high = 0;
        for (int y = box.top; y < box.bottom; ++y) {
            const auto* row = smallBackground_.image.row(y);
            const auto [lowest, highest] = std::minmax_element(row + box.left, row + box.right);
            low = std::min<int>(low, *lowest);
            high = std::max<int>(high, *highest);
        }
        return high - low < least;
    }

    // Whether the letters of the line, one at least wide enough for two, were taken for background.
    bool isMistaken(const PixelBox& line, Ink ink) const {
        const int least = std::max(leastInk, 2 * smallBackground_.tolerance);
        if (line.width() < line.height() || !isOnOneBackground(line, least)) return false;
        int inked = 0;
        int mistaken = 0;
        for (int y = line.top; y < line.bottom; ++y) {
            for (int x = line.left; x < line.right; ++x) {
                const int behind = smallBackground_.image.row(y)[x];
                const int inkHere = inkAt(small_.row(y)[x], smallBackground_.image.row(y)[x], ink);
                if (inkHere < least || onPanel_.row(y)[x] != 0) continue;
                ++inked;
                const int taken = background_.image.row(
                    y * shrinking + shrinking / 2)[x * shrinking + shrinking / 2];
                mistaken += std::abs(taken - behind) >= least;
            }
        }
        return inked > 0 && inked <= greatestInkShare * line.width() * line.height() &&
               mistaken >= leastMistakenShare * inked;
    }

    void replaceBackground(const PixelBox& line) {
        const auto box = around(line);
        for (int y = box.top * shrinking; y < box.bottom * shrinking; ++y) {
            const auto* from = smallBackground_.image.row(y / shrinking);
            auto* to = background_.image.row(y);
            for (int x = box.left * shrinking; x < box.right * shrinking; ++x)
                if (onPanel_.row(y / shrinking)[x / shrinking] == 0) to[x] = from[x / shrinking];
        }
    }

    Background& background_;
    GreyImage small_;
    Background smallBackground_;
    GreyImage onPanel_;  // of the small image's size; not 0 on a panel
};

}  // namespace

void revealLargeText(const GreyImage& image, Background& background) {
    if (image.width < shrinking || image.height < shrinking) return;
    LargeText(image, background).reveal();
}

}  // namespace quorvane::platform::tesseract
