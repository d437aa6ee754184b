#include "postprocess/scratch_files.h"

#include <algorithm>
#include <map>
#include <set>

#include "support/path.h"

namespace quorvane::postprocess {

void removeIfPossible(const std::string& path, platform::FileManager& files) noexcept {
    try {
        files.removeItem(path);
    } catch (...) {  // it was not there, or it stays
    }
}

void removeReplaceItemScratchFiles(const std::vector<std::string>& relatedTo,
                                   platform::FileManager& files) noexcept {
    try {
        std::map<std::string, std::set<std::string>> prefixes;  // by folder
        for (const auto& path : relatedTo)
            prefixes[support::deletingLastPathComponent(path)].insert(
                support::lastPathComponent(path) + ".sb-");
        for (const auto& [folder, ofFolder] : prefixes) {
            std::vector<std::string> names;
            try {
                names = files.contentsOfDirectory(folder);
            } catch (...) {
                continue;
            }
            for (const auto& name : names) {
                if (std::any_of(ofFolder.begin(), ofFolder.end(),
                                [&](const auto& prefix) { return name.starts_with(prefix); }))
                    removeIfPossible(std::string(folder).append("/").append(name), files);
            }
        }
    } catch (...) {  // out of memory: what is left behind is only litter
    }
}

}  // namespace quorvane::postprocess
