// The port to the user's locale.
#pragma once

#include <string>

namespace quorvane::platform {

class UserLocale {
  public:
    virtual ~UserLocale() = default;
    // As the platform spells it, on Linux with an underscore and without an encoding: "en_US".
    virtual std::string currentLocaleIdentifier() = 0;
};

}  // namespace quorvane::platform
