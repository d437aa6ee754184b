#include "webcam/webcam_command.h"

#include <algorithm>
#include <array>

namespace quorvane::webcam {
namespace {

// Unicode's white space and line breaks, as UTF-8.
constexpr std::array<std::string_view, 25> blanks{
    " ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\u0085", "\u00A0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
    "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};

std::string_view trimmed(std::string_view text) {
    const auto atFront = [&](std::string_view blank) { return text.starts_with(blank); };
    const auto atEnd = [&](std::string_view blank) { return text.ends_with(blank); };
    for (;;) {
        const auto front = std::find_if(blanks.begin(), blanks.end(), atFront);
        if (front == blanks.end()) break;
        text.remove_prefix(front->size());
    }
    for (;;) {
        const auto end = std::find_if(blanks.begin(), blanks.end(), atEnd);
        if (end == blanks.end()) break;
        text.remove_suffix(end->size());
    }
    return text;
}

}  // namespace

std::optional<WebcamCommand> parseWebcamCommand(std::string_view line) {
    const auto text = trimmed(line);
    if (text.empty()) return std::nullopt;
    const auto space = text.find(' ');
    if (space == std::string_view::npos) return WebcamCommand{std::string(text), {}};
    return WebcamCommand{std::string(text.substr(0, space)), std::string(text.substr(space + 1))};
}

}  // namespace quorvane::webcam
