// Clean-up beside a recording. Threads: any. Errors: none, what cannot be removed stays.
#pragma once

#include <string>
#include <vector>

#include "platform/file_manager.h"

namespace quorvane::postprocess {

void removeIfPossible(const std::string& path, platform::FileManager& files) noexcept;

// Removes what a safe replacement may have left beside these files: everything in the folder of one
// whose name begins with that file's name and ".sb-". Folders below are not searched.
void removeReplaceItemScratchFiles(const std::vector<std::string>& relatedTo,
                                   platform::FileManager& files) noexcept;

}  // namespace quorvane::postprocess
