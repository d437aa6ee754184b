#include "platform/linux/desktop/desktop_entry.h"

#include <utility>

#include "platform/linux/key_file.h"

namespace quorvane::platform::desktop {
namespace {

std::string valueOf(const KeyFileGroup& group, std::string_view key) {
    const auto found = group.find(key);
    return found != group.end() ? found->second : std::string();
}

std::string unescaped(std::string_view value) {
    std::string text;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] != '\\' || at + 1 == value.size()) {
            text += value[at];
            continue;
        }
        const char escaped = value[++at];
        text += escaped == 's'   ? ' '
                : escaped == 'n' ? '\n'
                : escaped == 't' ? '\t'
                : escaped == 'r' ? '\r'
                                 : escaped;
    }
    return text;
}

std::string translated(const KeyFileGroup& group, const std::string& key,
                       std::span<const std::string> endings) {
    for (const std::string& ending : endings) {
        auto value = valueOf(group, std::string(key).append("[").append(ending).append("]"));
        if (!value.empty()) return unescaped(value);
    }
    return unescaped(valueOf(group, key));
}

// "/usr/bin/editor %U" runs editor; "java -jar editor.jar" may be anything.
std::string soleProgram(std::string_view command) {
    std::string program;
    while (!command.empty()) {
        const auto end = command.find(' ');
        const auto word = command.substr(0, end);
        command.remove_prefix(end == std::string_view::npos ? command.size() : end + 1);
        if (word.empty() || (word.size() == 2 && word[0] == '%')) continue;
        if (!program.empty()) return {};
        program = word.substr(word.rfind('/') + 1);
    }
    if (program.size() > 2 && program.front() == '"' && program.back() == '"')
        program = program.substr(1, program.size() - 2);
    return program;
}

}  // namespace

std::vector<std::string> localeEndings(std::string_view locale) {
    const auto at = locale.find('@');
    const std::string modifier(at != std::string_view::npos ? locale.substr(at) : "");
    locale = locale.substr(0, at);
    locale = locale.substr(0, locale.find('.'));
    if (locale.empty() || locale == "C" || locale == "POSIX") return {};
    const std::string country(locale);
    const std::string language(locale.substr(0, locale.find('_')));
    std::vector<std::string> endings;
    for (const std::string& place : {country, language}) {
        if (!modifier.empty()) endings.push_back(place + modifier);
        endings.push_back(place);
        if (country == language) break;
    }
    return endings;
}

std::optional<DesktopEntry> parseDesktopEntry(std::string id, std::string_view text,
                                              std::span<const std::string> endings) {
    const auto group = keyFileGroup(text, "Desktop Entry");
    DesktopEntry entry;
    entry.id = std::move(id);
    entry.isHidden = valueOf(group, "Hidden") == "true";
    if (entry.isHidden) return entry;
    entry.name = translated(group, "Name", endings);
    if (entry.name.empty() || valueOf(group, "Type") != "Application") return std::nullopt;
    entry.startupClass = unescaped(valueOf(group, "StartupWMClass"));
    entry.program = soleProgram(valueOf(group, "Exec"));
    return entry;
}

}  // namespace quorvane::platform::desktop
