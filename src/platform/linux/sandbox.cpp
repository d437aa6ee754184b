#include "platform/linux/sandbox.h"

#include <cstdlib>

#include "platform/linux/key_file.h"
#include "platform/linux/small_file.h"

namespace quorvane::platform {

std::optional<std::string> flatpakApplication(const std::string& root) {
    const auto text = readSmallFile(root + "/.flatpak-info");
    if (!text) return std::nullopt;
    const auto application = keyFileGroup(*text, "Application");
    const auto name = application.find("name");
    return name != application.end() && !name->second.empty() ? std::optional(name->second)
                                                              : std::nullopt;
}

std::optional<std::string> sandboxedApplication() {
    if (auto application = flatpakApplication("")) return application;
    const char* folder = std::getenv("SNAP");
    const char* name = std::getenv("SNAP_INSTANCE_NAME");
    if (folder == nullptr || *folder == '\0' || name == nullptr || *name == '\0')
        return std::nullopt;
    return "snap." + std::string(name);
}

}  // namespace quorvane::platform
