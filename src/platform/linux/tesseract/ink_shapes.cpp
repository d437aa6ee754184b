#include "platform/linux/tesseract/ink_shapes.h"

#include <cstdint>
#include <utility>

namespace quorvane::platform::tesseract {
namespace {

// Pixels of ink side by side in one row.
struct Run {
    int begin = 0;
    int end = 0;
    std::size_t shape = 0;
};

// Shapes that grow run by run; shapes that turn out to be one are joined.
class ShapeForest {
  public:
    std::size_t add(const PixelBox& box, int background) {
        parents_.push_back(shapes_.size());
        shapes_.push_back({box, background});
        return parents_.back();
    }
    void join(std::size_t first, std::size_t second) {
        first = root(first);
        second = root(second);
        if (first == second) return;
        if (second < first) std::swap(first, second);
        parents_[second] = first;
        shapes_[first].box = shapes_[first].box.unionWith(shapes_[second].box);
    }
    std::vector<InkShape> roots() const {
        std::vector<InkShape> roots;
        for (std::size_t at = 0; at < shapes_.size(); ++at) {
            if (parents_[at] == at) roots.push_back(shapes_[at]);
        }
        return roots;
    }

  private:
    std::size_t root(std::size_t at) {
        while (parents_[at] != at)
            at = parents_[at] = parents_[parents_[at]];
        return at;
    }

    std::vector<std::size_t> parents_;
    std::vector<InkShape> shapes_;
};

}  // namespace

std::vector<InkShape> findInkShapes(const GreyImage& image, const Background& background, Ink ink) {
    const int least = std::max(leastInk, 2 * background.tolerance);
    ShapeForest forest;
    std::vector<Run> above;
    std::vector<Run> current;
    for (int y = 0; y < image.height; ++y) {
        const auto* values = image.row(y);
        const auto* backgrounds = background.image.row(y);
        const auto isInk = [&](int x) { return inkAt(values[x], backgrounds[x], ink) >= least; };
        current.clear();
        std::size_t candidate = 0;  // the first run above that may touch
        for (int x = 0; x < image.width; ++x) {
            if (!isInk(x)) continue;
            Run run{x, x + 1, 0};
            while (run.end < image.width && isInk(run.end))
                ++run.end;
            run.shape = forest.add({run.begin, y, run.end, y + 1}, backgrounds[run.begin]);
            while (candidate < above.size() && above[candidate].end < run.begin)
                ++candidate;
            for (auto touching = candidate;
                 touching < above.size() && above[touching].begin <= run.end; ++touching)
                forest.join(above[touching].shape, run.shape);
            current.push_back(run);
            x = run.end;
        }
        std::swap(above, current);
    }
    return forest.roots();
}

}  // namespace quorvane::platform::tesseract
