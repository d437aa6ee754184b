#include "platform/linux/desktop/desktop_application_directory.h"

#include <filesystem>
#include <optional>
#include <utility>

#include "platform/linux/sandbox.h"
#include "platform/linux/small_file.h"

namespace quorvane::platform::desktop {
namespace {

std::string ownName(const std::string& folder) {
    std::string name = readSmallFile(folder + "/comm").value_or("");
    if (name.ends_with('\n')) name.pop_back();
    return name;
}

std::string programOf(const std::string& folder) {
    std::error_code error;
    return std::filesystem::read_symlink(folder + "/exe", error).filename().string();
}

const DesktopEntry* entryOf(const ProcessWindows& process,
                            const std::optional<std::string>& flatpak, const std::string& folder,
                            DesktopEntries& entries) {
    if (flatpak) {
        if (const auto* entry = entries.withID(*flatpak)) return entry;
    }
    for (const WindowIdentity& window : process.windows) {
        if (const auto* entry = entries.withID(window.applicationID)) return entry;
        if (const auto* entry = entries.ofWindowClass(window.className)) return entry;
        if (const auto* entry = entries.ofWindowClass(window.instanceName)) return entry;
    }
    return entries.running(programOf(folder));
}

}  // namespace

DesktopApplicationDirectory::DesktopApplicationDirectory(
    std::function<DesktopEntries()> readEntries, std::string processFolder)
    : readEntries_(std::move(readEntries)), processFolder_(std::move(processFolder)) {}

std::vector<RunningApplication> DesktopApplicationDirectory::describe(
    std::span<const ProcessWindows> processes) {
    DesktopEntries entries = readEntries_();
    std::vector<RunningApplication> applications;
    for (const ProcessWindows& process : processes)
        applications.push_back(describe(process, entries));
    return applications;
}

RunningApplication DesktopApplicationDirectory::describe(const ProcessWindows& process,
                                                         DesktopEntries& entries) const {
    const std::string folder = processFolder_ + "/" + std::to_string(process.processID);
    const auto flatpak = flatpakApplication(folder + "/root");
    const DesktopEntry* entry = entryOf(process, flatpak, folder, entries);
    RunningApplication application;
    application.processID = process.processID;
    if (entry != nullptr) application.applicationName = entry->name;
    for (const WindowIdentity& window : process.windows) {
        if (!application.applicationName.empty()) break;
        application.applicationName = window.className;
    }
    if (application.applicationName.empty()) application.applicationName = ownName(folder);
    if (flatpak) {
        application.bundleIdentifier = *flatpak;
    } else if (entry != nullptr) {
        application.bundleIdentifier = entry->id;
    }
    return application;
}

}  // namespace quorvane::platform::desktop
