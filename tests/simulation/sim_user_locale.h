// The user's locale, as a test wants it.
#pragma once

#include <string>

#include "platform/user_locale.h"

namespace quorvane::simulation {

class SimUserLocale final : public platform::UserLocale {
  public:
    std::string currentLocaleIdentifier() override { return identifier; }
    std::string identifier = "en_US";
};

}  // namespace quorvane::simulation
