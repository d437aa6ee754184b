#include "postprocess/raw_recording.h"

#include "postprocess/scratch_files.h"
#include "support/path.h"

namespace quorvane::postprocess {

void preserveRawRecordingIfNeeded(const std::string& sourcePath,
                                  const std::optional<std::string>& rawPath,
                                  platform::FileManager& files) {
    if (!rawPath || rawPath->empty()) return;
    files.createDirectory(support::deletingLastPathComponent(*rawPath));
    removeIfPossible(*rawPath, files);
    files.copyItem(sourcePath, *rawPath);
}

}  // namespace quorvane::postprocess
