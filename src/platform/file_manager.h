// The port to the file system, as far as whole files are moved about and logs are written.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::platform {

// A text file that grows by lines while something more important goes on.
class LogFile {
  public:
    // Closes the file. What is still on its way to the disk gets a moment to arrive there.
    virtual ~LogFile() = default;
    // Appends the line, which ends with its line feed. Never waits for the disk. Errors: none; a
    // line that cannot be written is dropped whole. Any thread, one at a time.
    virtual void append(std::string_view line) = 0;
};

// Paths are absolute or relative to the working directory. Errors: PlatformError, after which
// nothing has changed unless a function says otherwise. Threads: any; calls wait for the disk.
class FileManager {
  public:
    virtual ~FileManager() = default;
    // Makes the folder and the folders above it that are missing. One that exists is fine.
    virtual void createDirectory(const std::string& path) = 0;
    // Removes a file, a link, or a folder with everything in it. After an error a part of the
    // folder may be gone.
    virtual void removeItem(const std::string& path) = 0;
    // Copies a file. The destination must not exist; it is on the disk when this returns, and gone
    // after an error.
    virtual void copyItem(const std::string& source, const std::string& destination) = 0;
    // Puts the replacement, a file of the same folder, in the place of the original, which gives it
    // its permissions and its owner. In one step: at every moment, a loss of power included, the
    // original's path is one of the two files, whole.
    virtual void replaceItem(const std::string& original, const std::string& replacement) = 0;
    // The names in the folder, in no particular order, without "." and "..".
    virtual std::vector<std::string> contentsOfDirectory(const std::string& path) = 0;
    // Creates the file, or empties the one that is there. Never waits for a reader.
    virtual std::unique_ptr<LogFile> createLogFile(const std::string& path) = 0;
};

}  // namespace quorvane::platform
