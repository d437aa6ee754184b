// The desktop entries of some folders, read as far as somebody asks for them.
// Why not all at once: there are hundreds, and most windows are found by their entry's own name.
// Threads: one. Errors: none; what cannot be read is not there.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/desktop/desktop_entry.h"

namespace quorvane::platform::desktop {

class DesktopEntries {
  public:
    // The folders of data, the most important first; entries are in their "applications".
    DesktopEntries(std::vector<std::string> folders, std::vector<std::string> localeEndings)
        : folders_(std::move(folders)), endings_(std::move(localeEndings)) {}
    // The user's own, as the environment has them.
    static DesktopEntries ofEnvironment();

    // Each gives null when there is none; what is given lives as long as this object.
    const DesktopEntry* withID(const std::string& id);
    // Of windows of that class: by what the entry says, or by its identifier in any case.
    const DesktopEntry* ofWindowClass(const std::string& name);
    // Of the program, when only one entry runs it.
    const DesktopEntry* running(const std::string& program);

  private:
    using Known = std::map<std::string, std::optional<DesktopEntry>>;

    void readAll();

    std::vector<std::string> folders_;
    std::vector<std::string> endings_;
    Known known_;  // by identifier; nothing for those that are not there
    bool allRead_ = false;
    std::map<std::string, const DesktopEntry*> byClass_;
    std::map<std::string, const DesktopEntry*> byProgram_;  // null for those that several run
};

}  // namespace quorvane::platform::desktop
