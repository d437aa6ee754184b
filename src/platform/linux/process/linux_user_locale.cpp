#include "platform/linux/process/linux_user_locale.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace quorvane::platform::process {
namespace {

// As the C library names them, and their codes of ISO 15924.
constexpr std::array<std::pair<std::string_view, std::string_view>, 3> scriptModifiers{
    {{"latin", "Latn"}, {"cyrillic", "Cyrl"}, {"devanagari", "Deva"}}};

}  // namespace

std::string LinuxUserLocale::currentLocaleIdentifier() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0') return localeIdentifier(value);
    }
    return localeIdentifier("C");
}

std::string localeIdentifier(const std::string& localeName) {
    auto identifier = localeName.substr(0, localeName.find_first_of(".@"));
    if (identifier.empty() || identifier == "C" || identifier == "POSIX") return "en_US";
    // Of the modifiers only a script is part of the identifier, where it follows the language.
    const auto modifier = localeName.find('@');
    if (modifier == std::string::npos) return identifier;
    for (const auto& [name, script] : scriptModifiers) {
        if (std::string_view(localeName).substr(modifier + 1) == name)
            identifier.insert(std::min(identifier.find('_'), identifier.size()),
                              "_" + std::string(script));
    }
    return identifier;
}

}  // namespace quorvane::platform::process
