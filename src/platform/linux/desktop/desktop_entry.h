// What a desktop entry (FOLDER/applications/ID.desktop) says of an application.
// Threads: pure, any. Errors: none; what is no usable entry gives nothing.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::platform::desktop {

struct DesktopEntry {
    std::string id;  // without ".desktop"
    std::string name;
    std::string startupClass;  // of its windows; empty when it does not say
    // The program that it runs, without folders; empty when arguments of its own decide what runs.
    std::string program;
    bool isHidden = false;  // to be taken as not there, whatever later folders say
};

// The keys' endings to look for in translated values, the best first: for "de_AT.UTF-8@euro"
// de_AT@euro, de_AT, de@euro, de.
std::vector<std::string> localeEndings(std::string_view locale);

std::optional<DesktopEntry> parseDesktopEntry(std::string id, std::string_view text,
                                              std::span<const std::string> endings);

}  // namespace quorvane::platform::desktop
