// Files and folders by system calls. Errors are PlatformErrors of the domain "POSIX".
#pragma once

#include "platform/file_manager.h"

namespace quorvane::platform::files {

class LinuxFileManager final : public FileManager {
  public:
    void createDirectory(const std::string& path) override;
    // A folder that something is mounted on is left as it is: it could not be removed itself.
    void removeItem(const std::string& path) override;
    void copyItem(const std::string& source, const std::string& destination) override;
    void replaceItem(const std::string& original, const std::string& replacement) override;
    std::vector<std::string> contentsOfDirectory(const std::string& path) override;
    std::unique_ptr<LogFile> createLogFile(const std::string& path) override;
};

}  // namespace quorvane::platform::files
