// Which sandbox an application runs in, and under what identifier.
// Threads: any. Errors: none; what cannot be read is no sandbox.
#pragma once

#include <optional>
#include <string>

namespace quorvane::platform {

// The application of the Flatpak that has this folder as its root ("" for this process's own root,
// "/proc/PID/root" for another's).
std::optional<std::string> flatpakApplication(const std::string& root);

// The application of the Flatpak or snap that this process runs in, by the identifier that the
// permission store uses.
std::optional<std::string> sandboxedApplication();

}  // namespace quorvane::platform
