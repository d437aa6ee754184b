#include "webcam/rect_argument.h"

#include <algorithm>
#include <string>
#include <vector>

#include "cli/arguments.h"

namespace quorvane::webcam {
namespace {

std::string trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

}  // namespace

std::optional<support::Rect> parseRectArg(std::string_view text) {
    std::vector<double> numbers;
    while (!text.empty()) {
        const auto comma = std::min(text.find(','), text.size());
        const auto piece = text.substr(0, comma);
        text.remove_prefix(std::min(comma + 1, text.size()));
        if (piece.empty()) continue;
        const auto number = cli::parseDouble(trimmed(piece));
        if (!number || numbers.size() == 4) return std::nullopt;
        numbers.push_back(*number);
    }
    if (numbers.size() != 4) return std::nullopt;
    return support::Rect{numbers[0], numbers[1], numbers[2], numbers[3]};
}

}  // namespace quorvane::webcam
