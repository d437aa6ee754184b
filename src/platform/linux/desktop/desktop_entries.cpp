#include "platform/linux/desktop/desktop_entries.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>

#include "platform/linux/small_file.h"

namespace quorvane::platform::desktop {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view suffix = ".desktop";

std::string environment(const char* name, const std::string& otherwise = {}) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : otherwise;
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return text;
}

// Where an entry of that identifier may be: folders below become parts of it, with a dash.
std::vector<std::string> filesOf(const std::string& id) {
    constexpr std::size_t mostFolders = 3;
    std::string file = id + std::string(suffix);
    std::vector<std::string> files{file};
    for (std::size_t at = 0; files.size() <= mostFolders; ++at) {
        at = file.find('-', at);
        if (at == std::string::npos) break;
        file[at] = '/';
        files.push_back(file);
    }
    return files;
}

const DesktopEntry* usable(const std::optional<DesktopEntry>& entry) {
    return entry && !entry->isHidden ? &*entry : nullptr;
}

}  // namespace

DesktopEntries DesktopEntries::ofEnvironment() {
    std::vector<std::string> folders;
    const std::string home = environment("HOME");
    folders.push_back(environment("XDG_DATA_HOME", home.empty() ? "" : home + "/.local/share"));
    const std::string more = environment("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    for (std::size_t at = 0; at <= more.size();) {
        const auto end = std::min(more.find(':', at), more.size());
        folders.push_back(more.substr(at, end - at));
        at = end + 1;
    }
    std::erase_if(folders, [](const std::string& folder) { return !folder.starts_with('/'); });
    const auto locale = environment("LC_ALL", environment("LC_MESSAGES", environment("LANG", "C")));
    return {std::move(folders), localeEndings(locale)};
}

const DesktopEntry* DesktopEntries::withID(const std::string& id) {
    // A window may say what it likes; it does not lead out of the folder.
    if (id.empty() || id.starts_with('.') || id.find('/') != std::string::npos) return nullptr;
    const auto found = known_.find(id);
    if (found != known_.end()) return usable(found->second);
    std::optional<DesktopEntry> entry;
    for (const std::string& folder : folders_) {
        for (const std::string& file : filesOf(id)) {
            const auto text =
                readSmallFile(std::string(folder).append("/applications/").append(file));
            if (text && !entry) entry = parseDesktopEntry(id, *text, endings_);
        }
        if (entry) break;
    }
    return usable(known_.emplace(id, std::move(entry)).first->second);
}

const DesktopEntry* DesktopEntries::ofWindowClass(const std::string& name) {
    if (name.empty()) return nullptr;
    if (const auto* entry = withID(name)) return entry;
    if (const auto* entry = withID(lowerCase(name))) return entry;
    readAll();
    const auto found = byClass_.find(lowerCase(name));
    return found != byClass_.end() ? found->second : nullptr;
}

const DesktopEntry* DesktopEntries::running(const std::string& program) {
    if (program.empty()) return nullptr;
    readAll();
    const auto found = byProgram_.find(program);
    return found != byProgram_.end() ? found->second : nullptr;
}

void DesktopEntries::readAll() {
    if (std::exchange(allRead_, true)) return;
    Known all;
    for (const std::string& folder : folders_) {
        const fs::path top = folder + "/applications";
        std::error_code error;
        fs::recursive_directory_iterator each(top, fs::directory_options::skip_permission_denied,
                                              error);
        for (; !error && each != fs::recursive_directory_iterator(); each.increment(error)) {
            std::string id = each->path().lexically_relative(top).string();
            if (!id.ends_with(suffix)) continue;
            id.resize(id.size() - suffix.size());
            std::replace(id.begin(), id.end(), '/', '-');
            if (all.contains(id)) continue;
            const auto text = readSmallFile(each->path().string());
            if (!text) continue;
            if (auto entry = parseDesktopEntry(id, *text, endings_))
                all.emplace(id, std::move(entry));
        }
    }
    // What is known already stays where it is: others point to it.
    for (auto& [id, entry] : all) {
        auto& known = known_[id];
        if (!known) known = std::move(entry);
    }
    for (const auto& [id, maybe] : known_) {
        const DesktopEntry* entry = usable(maybe);
        if (entry == nullptr) continue;
        if (!entry->startupClass.empty()) byClass_.emplace(lowerCase(entry->startupClass), entry);
        if (entry->program.empty()) continue;
        const auto [place, isFirst] = byProgram_.emplace(entry->program, entry);
        if (!isFirst) place->second = nullptr;
    }
}

}  // namespace quorvane::platform::desktop
