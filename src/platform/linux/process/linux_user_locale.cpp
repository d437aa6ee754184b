#include "platform/linux/process/linux_user_locale.h"

#include <cstdlib>

namespace quorvane::platform::process {

std::string LinuxUserLocale::currentLocaleIdentifier() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0') return localeIdentifier(value);
    }
    return localeIdentifier("C");
}

std::string localeIdentifier(const std::string& localeName) {
    const auto identifier = localeName.substr(0, localeName.find_first_of(".@"));
    if (identifier.empty() || identifier == "C" || identifier == "POSIX") return "en_US";
    return identifier;
}

}  // namespace quorvane::platform::process
