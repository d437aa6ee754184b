// The user's locale, from the environment.
#pragma once

#include "platform/user_locale.h"

namespace quorvane::platform::process {

// The language of messages: LC_ALL, else LC_MESSAGES, else LANG, the first that is set and not
// empty. The locales "C" and "POSIX", and none at all, count as "en_US". Threads: any, as long as
// nobody changes the environment. Errors: none.
class LinuxUserLocale final : public UserLocale {
  public:
    std::string currentLocaleIdentifier() override;
};

// "de_DE" of "de_DE.UTF-8@euro", "sr_Latn_RS" of "sr_RS@latin".
std::string localeIdentifier(const std::string& localeName);

}  // namespace quorvane::platform::process
