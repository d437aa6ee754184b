#include "platform/linux/key_file.h"

namespace quorvane::platform {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

KeyFileGroup keyFileGroup(std::string_view text, std::string_view group) {
    KeyFileGroup keys;
    bool inside = false;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const auto line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.starts_with('[') && line.ends_with(']')) {
            inside = line.substr(1, line.size() - 2) == group;
        } else if (inside && !line.starts_with('#')) {
            const auto equals = line.find('=');
            if (equals == std::string_view::npos) continue;
            keys.emplace(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
        }
    }
    return keys;
}

}  // namespace quorvane::platform
