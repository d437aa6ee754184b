#include "platform/linux/pocketsphinx/recognized_word.h"

#include <algorithm>

namespace quorvane::platform::pocketsphinx {

bool isFiller(std::string_view entry) {
    if (entry.empty()) return true;
    const auto encloses = [entry](char first, char last) {
        return entry.size() > 1 && entry.front() == first && entry.back() == last;
    };
    return encloses('<', '>') || encloses('[', ']') || encloses('+', '+');
}

std::string_view withoutPronunciationMark(std::string_view entry) {
    const auto open = entry.rfind('(');
    if (open == std::string_view::npos || open == 0 || entry.back() != ')') return entry;
    const auto number = entry.substr(open + 1, entry.size() - open - 2);
    const bool isNumber = !number.empty() && std::all_of(number.begin(), number.end(), [](char c) {
        return c >= '0' && c <= '9';
    });
    return isNumber ? entry.substr(0, open) : entry;
}

}  // namespace quorvane::platform::pocketsphinx
