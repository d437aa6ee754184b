#include "platform/linux/x11/authority.h"

#include <cstdlib>
#include <string>

namespace quorvane::platform::x11 {

void nameAuthorityFile() {
    constexpr int overwrite = 0;
    const char* home = std::getenv("HOME");
    // Without a home there is no default.
    if (home != nullptr)
        setenv("XAUTHORITY", (std::string(home) + "/.Xauthority").c_str(), overwrite);
}

}  // namespace quorvane::platform::x11
