// Running applications by the system's process table and the desktop's entries.
// Name: the desktop entry's, else the class of a window, else the process's own.
// Identifier: the Flatpak application's, else the desktop entry's, else none.
// Threads: any. Errors: none; a process that is gone has the names that its windows gave it.
#pragma once

#include <functional>

#include "platform/linux/application_directory.h"
#include "platform/linux/desktop/desktop_entries.h"

namespace quorvane::platform::desktop {

class DesktopApplicationDirectory final : public ApplicationDirectory {
  public:
    // The entries are read anew for each call.
    explicit DesktopApplicationDirectory(
        std::function<DesktopEntries()> readEntries = DesktopEntries::ofEnvironment,
        std::string processFolder = "/proc");

    std::vector<RunningApplication> describe(std::span<const ProcessWindows> processes) override;

  private:
    RunningApplication describe(const ProcessWindows& process, DesktopEntries& entries) const;

    std::function<DesktopEntries()> readEntries_;
    std::string processFolder_;
};

}  // namespace quorvane::platform::desktop
