#include "platform/linux/tesseract/panels.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <vector>

#include "platform/linux/tesseract/pixel_box.h"

namespace quorvane::platform::tesseract {
namespace {

// Pixels. Around higher panels there is room enough.
constexpr int leastWidth = 16;
constexpr int leastHeight = 7;
constexpr int greatestHeight = 64;
constexpr int greatestRounding = 16;  // of its corners
// A panel is drawn: its pixels are equal but for dithering. What is beside it differs visibly.
constexpr int greatestDifference = 3;
constexpr int leastContrast = 12;

class PanelFinder {
  public:
    explicit PanelFinder(const GreyImage& image) : image_(image) {}

    std::vector<Panel> find() const {
        std::vector<Panel> panels;
        for (int y = 0; y < image_.height; ++y) {
            for (int left = 0; left < image_.width;) {
                int right = left + 1;
                while (right < image_.width && isLike(right, y, at(left, y)))
                    ++right;
                if (right - left >= leastWidth && isUpperEdge(left, right, y))
                    addBelow(left, right, y, panels);
                left = right;
            }
        }
        return panels;
    }

  private:
    std::uint8_t at(int x, int y) const { return image_.row(y)[x]; }
    bool isLike(int x, int y, int value) const {
        return std::abs(at(x, y) - value) <= greatestDifference;
    }

    // Nine in ten pixels above differ.
    bool isUpperEdge(int left, int right, int y) const {
        if (y == 0) return true;
        const int value = at(left, y);
        int alike = 0;
        for (int x = left; x < right; ++x) {
            alike += std::abs(at(x, y - 1) - value) < leastContrast;
            if (alike * 10 > right - left) return false;
        }
        return true;
    }

    int countAlike(int left, int right, int y, int value) const {
        int count = 0;
        for (int x = left; x < right; ++x)
            count += isLike(x, y, value);
        return count;
    }

    // The column at which the panel ends, at x or a little further on behind rounded corners: four
    // in five pixels differ there. Nothing when it goes on.
    std::optional<int> endFrom(int x, int step, int top, int bottom, int value) const {
        const auto isInside = [&] { return x >= 0 && x < image_.width; };
        const int middle = (top + bottom) / 2;
        for (int rounding = 0; isInside() && isLike(x, middle, value); x += step) {
            if (++rounding > greatestRounding) return std::nullopt;
        }
        if (!isInside()) return x;
        int alike = 0;
        for (int y = top; y < bottom; ++y)
            alike += isLike(x, y, value);
        if (alike * 5 > bottom - top) return std::nullopt;
        return x;
    }

    // Below its upper edge a panel shows between its letters in every row, at most a letter or two
    // reach its lower edge, and text leaves two fifths of it.
    void addBelow(int left, int right, int top, std::vector<Panel>& panels) const {
        const auto value = at(left, top);
        const int width = right - left;
        int bottom = top;
        int all = 0;
        int last = 0;
        for (; bottom < image_.height; ++bottom) {
            if (bottom - top > greatestHeight) return;
            const int alike = countAlike(left, right, bottom, value);
            if (alike * 6 < width) break;
            all += alike;
            last = alike;
        }
        const int height = bottom - top;
        if (height < leastHeight || last * 5 < width * 4 || all * 5 < width * height * 2) return;
        const auto before = endFrom(left - 1, -1, top, bottom, value);
        const auto behind = endFrom(right, 1, top, bottom, value);
        if (before && behind)
            panels.push_back(
                {{left, top, right, bottom}, {*before + 1, top, *behind, bottom}, value});
    }

    const GreyImage& image_;
};

}  // namespace

std::vector<Panel> findPanels(const GreyImage& image) {
    auto panels = PanelFinder(image).find();
    std::stable_sort(panels.begin(), panels.end(), [](const Panel& first, const Panel& second) {
        return first.area() > second.area();
    });
    return panels;
}

}  // namespace quorvane::platform::tesseract
