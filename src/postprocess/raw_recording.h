// The copy of a finished movie that keeps its separate audio tracks.
#pragma once

#include <optional>
#include <string>

#include "platform/file_manager.h"

namespace quorvane::postprocess {

// Copies the movie to the raw path, if there is one that is not empty: makes the folders above it,
// removes whatever is there, and copies, in this order. A raw path equal to the source therefore
// loses the movie, and fails.
// Threads: any; waits for the disk. Errors: the platform's, of the folders and of the copy.
void preserveRawRecordingIfNeeded(const std::string& sourcePath,
                                  const std::optional<std::string>& rawPath,
                                  platform::FileManager& files);

}  // namespace quorvane::postprocess
