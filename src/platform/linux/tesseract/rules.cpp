#include "platform/linux/tesseract/rules.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "platform/linux/tesseract/ink_shapes.h"

namespace quorvane::platform::tesseract {
namespace {

// Pixels. No stroke of a letter is both: those of large letters are thicker.
constexpr int leastLength = 48;
constexpr int greatestThickness = 3;

// The rows of an image, or its columns as if they were rows.
struct Direction {
    int count = 0;   // of rows
    int length = 0;  // of a row
    std::ptrdiff_t along = 0;
    std::ptrdiff_t across = 0;
};

class RuleRemover {
  public:
    RuleRemover(GreyImage& image, const Background& background)
        : image_(image),
          least_(std::max(leastInk, 2 * background.tolerance)),
          inked_(image.pixels.size()) {
        for (std::size_t at = 0; at < inked_.size(); ++at)
            inked_[at] = std::abs(image.pixels[at] - background.image.pixels[at]) >= least_;
        backgrounds_ = background.image.pixels.data();
    }

    void remove(const Direction& direction) {
        for (int row = 0; row < direction.count; ++row) {
            for (int begin = 0; begin < direction.length;) {
                int end = begin;
                while (end < direction.length && isInk(direction, row, end))
                    ++end;
                if (end - begin >= leastLength) removeRun(direction, row, begin, end);
                begin = end + 1;
            }
        }
    }

  private:
    static std::size_t index(const Direction& direction, int row, int at) {
        return static_cast<std::size_t>(row * direction.across + at * direction.along);
    }
    bool isInk(const Direction& direction, int row, int at) const {
        return row >= 0 && row < direction.count && inked_[index(direction, row, at)];
    }

    bool isThin(const Direction& direction, int row, int at) const {
        int thickness = 1;
        for (const int step : {-1, 1}) {
            for (int other = row + step; isInk(direction, other, at); other += step) {
                if (++thickness > greatestThickness) return false;
            }
        }
        return true;
    }

    void removeRun(const Direction& direction, int row, int begin, int end) {
        std::vector<bool> thin;
        for (int at = begin; at < end; ++at)
            thin.push_back(isThin(direction, row, at));
        const auto count = std::count(thin.begin(), thin.end(), true);
        if (count * 5 < std::ssize(thin) * 3) return;
        for (int at = begin; at < end; ++at) {
            const auto pixel = index(direction, row, at);
            if (thin[static_cast<std::size_t>(at - begin)])
                image_.pixels[pixel] = backgrounds_[pixel];
        }
    }

    GreyImage& image_;
    const std::uint8_t* backgrounds_ = nullptr;
    int least_;
    std::vector<bool> inked_;
};

}  // namespace

void removeRules(GreyImage& image, const Background& background) {
    RuleRemover remover(image, background);
    remover.remove({image.height, image.width, 1, image.width});
    remover.remove({image.width, image.height, image.width, 1});
}

}  // namespace quorvane::platform::tesseract
