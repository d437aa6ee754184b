#include "platform/linux/tesseract/text_lines.h"

#include <cstddef>
#include <numeric>
#include <span>
#include <tuple>

namespace quorvane::platform::tesseract {
namespace {

// Heights in pixels. What is lower than a letter may be part of one: a dot, an accent, a hyphen.
constexpr int leastLetterHeight = 4;
constexpr int greatestLetterHeight = 160;
constexpr int leastLineHeight = 5;
// Letters of small text touch, so one shape may be a whole word.
constexpr int greatestWordShape = 30;  // widths by height
constexpr int greatestPartWidth = 3;   // widths by the height of the line that it belongs to

bool isLetter(const InkShape& shape) {
    const auto& box = shape.box;
    return box.height() >= leastLetterHeight && box.height() <= greatestLetterHeight &&
           box.width() <= greatestWordShape * box.height();
}

bool isPart(const InkShape& shape) {
    return shape.box.height() < leastLetterHeight;
}

// The corner of a filled panel: background of another value is on one side of it. A letter is on
// one background, but may stand close to the edge of it.
bool isEdge(const InkShape& shape, const Background& background) {
    const auto& box = shape.box;
    const int centre = shape.background;
    const int least = std::max(leastInk, 2 * background.tolerance);
    int others = 0;
    int all = 0;
    for (int y = std::max(0, box.top - 1); y < std::min(background.image.height, box.bottom + 1);
         ++y) {
        const auto* row = background.image.row(y);
        for (int x = std::max(0, box.left - 1); x < std::min(background.image.width, box.right + 1);
             ++x) {
            others += std::abs(row[x] - centre) >= least;
            ++all;
        }
    }
    return others * 4 > all;
}

// Sets that are joined pair by pair.
class Sets {
  public:
    explicit Sets(std::size_t count) : parents_(count) {
        std::iota(parents_.begin(), parents_.end(), std::size_t{0});
    }
    std::size_t of(std::size_t at) {
        while (parents_[at] != at)
            at = parents_[at] = parents_[parents_[at]];
        return at;
    }
    void join(std::size_t first, std::size_t second) { parents_[of(second)] = of(first); }

  private:
    std::vector<std::size_t> parents_;
};

// Joins boxes of which the second begins at most a gap to the right of where the first ends.
// gapOf(first, second) is how wide that gap may be, negative for never; reachOf(first) is the
// widest that it can be, so that not all pairs of a large image are looked at.
template <class GapOf, class ReachOf>
std::vector<PixelBox> joinNeighbours(std::vector<PixelBox> boxes, GapOf gapOf, ReachOf reachOf) {
    std::sort(boxes.begin(), boxes.end(), [](const PixelBox& first, const PixelBox& second) {
        return std::tie(first.left, first.top) < std::tie(second.left, second.top);
    });
    Sets sets(boxes.size());
    for (std::size_t first = 0; first < boxes.size(); ++first) {
        const int reach = reachOf(boxes[first]);
        for (auto second = first + 1; second < boxes.size(); ++second) {
            const int gap = boxes[second].left - boxes[first].right;
            if (gap > reach) break;
            if (gap <= gapOf(boxes[first], boxes[second])) sets.join(first, second);
        }
    }
    std::vector<PixelBox> joined = boxes;
    for (std::size_t at = 0; at < boxes.size(); ++at) {
        auto& whole = joined[sets.of(at)];
        whole = whole.unionWith(boxes[at]);
    }
    std::vector<PixelBox> lines;
    for (std::size_t at = 0; at < boxes.size(); ++at) {
        if (sets.of(at) == at) lines.push_back(joined[at]);
    }
    return lines;
}

constexpr int never = -1000000;

// Letters of one word, and words of only small letters.
int gapBetweenLetters(const PixelBox& first, const PixelBox& second) {
    const int low = std::min(first.height(), second.height());
    const int high = std::max(first.height(), second.height());
    const int shared = overlap(first.top, first.bottom, second.top, second.bottom);
    if (2 * shared < low || high > 3 * low) return never;
    return (high * 4 + 4) / 5;
}
int reachOfLetter(const PixelBox& first) {
    return (3 * first.height() * 4 + 4) / 5;
}

// Words of a line: here the height is a line's, so the gap can be a wide font's blank.
int gapBetweenWords(const PixelBox& first, const PixelBox& second) {
    const int low = std::min(first.height(), second.height());
    const int high = std::max(first.height(), second.height());
    const int shared = overlap(first.top, first.bottom, second.top, second.bottom);
    if (3 * shared < 2 * low || high > 2 * low + 2) return never;
    return high * 11 / 10;
}
int reachOfWord(const PixelBox& first) {
    return (2 * first.height() + 2) * 11 / 10;
}

// A frame around text is none: a button's border, a field's.
std::vector<PixelBox> withoutFrames(const std::vector<PixelBox>& letters) {
    std::vector<PixelBox> kept;
    // Ordered by the left edge, all that a box contains follows it until its right edge.
    auto sorted = letters;
    std::sort(sorted.begin(), sorted.end(), [](const PixelBox& first, const PixelBox& second) {
        return std::tie(first.left, second.right) < std::tie(second.left, first.right);
    });
    for (std::size_t at = 0; at < sorted.size(); ++at) {
        int inside = 0;
        for (auto other = at + 1; other < sorted.size() && sorted[other].left < sorted[at].right;
             ++other)
            inside += sorted[at].contains(sorted[other]);
        if (inside < 3) kept.push_back(sorted[at]);
    }
    return kept;
}

// Whether the part, a dot, an accent, a hyphen, a comma, stands where a line of these letters has
// such parts.
bool belongsTo(const PixelBox& part, const PixelBox& line, const PixelBox& letters) {
    const int height = letters.height();
    return 2 * part.height() <= height && part.width() <= greatestPartWidth * height &&
           part.right >= line.left - height && part.left <= line.right + height &&
           part.bottom >= letters.top - height / 3 && part.top <= letters.bottom + height / 3;
}

// Which lines parts at a height may belong to, so that not all pairs of a large image are looked
// at.
class LinesByHeight {
  public:
    explicit LinesByHeight(const std::vector<PixelBox>& lines) {
        for (std::size_t at = 0; at < lines.size(); ++at) {
            const int height = lines[at].height();
            // From where a part of half the height would begin that ends just in reach.
            const auto first = band(lines[at].top - height);
            const auto last = band(lines[at].bottom + height / 3);
            if (bands_.size() <= last) bands_.resize(last + 1);
            for (auto each = first; each <= last; ++each)
                bands_[each].push_back(at);
        }
    }
    std::span<const std::size_t> at(int top) const {
        const auto each = band(top);
        if (each >= bands_.size()) return {};
        return bands_[each];
    }

  private:
    static std::size_t band(int y) { return static_cast<std::size_t>(std::max(0, y) / 32); }

    std::vector<std::vector<std::size_t>> bands_;  // of 32 pixels of height each
};

// Parts go to the line that they stand at; so do lines that are no larger than parts, as the dots
// of large letters are.
std::vector<PixelBox> withParts(std::vector<PixelBox> lines, std::vector<PixelBox> parts) {
    const auto lineCount = lines.size();
    parts.insert(parts.begin(), lines.begin(), lines.end());
    std::vector<std::size_t> order(parts.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(), [&](std::size_t first, std::size_t second) {
        return std::tie(parts[first].left, first) < std::tie(parts[second].left, second);
    });
    std::vector<bool> gone(lineCount, false);
    const LinesByHeight candidates(lines);
    for (const auto at : order) {
        const auto& part = parts[at];
        std::size_t best = lineCount;
        int bestDistance = 0;
        for (const auto line : candidates.at(part.top)) {
            // The first extent of the letters decides, so that no part leads to parts further up.
            const auto& letters = parts[line];
            if (line == at || gone[line] || !belongsTo(part, lines[line], letters)) continue;
            const int distance = std::abs(part.top + part.bottom - letters.top - letters.bottom);
            if (best == lineCount || distance < bestDistance) {
                best = line;
                bestDistance = distance;
            }
        }
        if (best == lineCount) continue;
        lines[best] = lines[best].unionWith(part);
        if (at < lineCount) gone[at] = true;
    }
    std::vector<PixelBox> whole;
    for (std::size_t line = 0; line < lineCount; ++line) {
        if (!gone[line]) whole.push_back(lines[line]);
    }
    return whole;
}

}  // namespace

std::vector<PixelBox> joinIntoLines(const std::vector<InkShape>& shapes) {
    std::vector<PixelBox> letters;
    std::vector<PixelBox> parts;
    for (const auto& shape : shapes) {
        if (isLetter(shape)) letters.push_back(shape.box);
        if (isPart(shape)) parts.push_back(shape.box);
    }
    auto words = joinNeighbours(withoutFrames(letters), gapBetweenLetters, reachOfLetter);
    auto lines = joinNeighbours(std::move(words), gapBetweenWords, reachOfWord);
    lines = withParts(std::move(lines), std::move(parts));
    std::erase_if(lines, [](const PixelBox& line) { return line.height() < leastLineHeight; });
    return lines;
}

std::vector<TextLine> findTextLines(const GreyImage& image, const Background& background) {
    std::vector<TextLine> lines;
    for (const auto ink : {Ink::dark, Ink::light}) {
        auto shapes = findInkShapes(image, background, ink);
        std::erase_if(shapes, [&](const InkShape& shape) {
            return (isLetter(shape) || isPart(shape)) && isEdge(shape, background);
        });
        for (const auto& box : joinIntoLines(shapes))
            lines.push_back({box, ink});
    }
    std::sort(lines.begin(), lines.end(), [](const TextLine& first, const TextLine& second) {
        return std::tie(first.box.top, first.box.left) < std::tie(second.box.top, second.box.left);
    });
    return lines;
}

}  // namespace quorvane::platform::tesseract
