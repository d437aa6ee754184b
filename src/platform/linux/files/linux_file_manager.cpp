#include "platform/linux/files/linux_file_manager.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/file_permissions.h"
#include "platform/linux/files/background_log_file.h"
#include "platform/linux/files/file_copy.h"
#include "platform/platform_error.h"
#include "support/path.h"

namespace quorvane::platform::files {
namespace {

constexpr mode_t readWriteForAll = 0666;  // less what the umask takes away

int openRetrying(const std::string& path, int flags, mode_t mode = 0) {
    int descriptor = -1;
    do {
        descriptor = open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

int flush(int descriptor) {
    while (fsync(descriptor) != 0) {
        if (errno != EINTR) return errno;
    }
    return 0;
}

// Sends the name of a file that has been flushed to the disk, too. Should that fail, the file is
// whole all the same, and the system writes the name later.
void flushName(const std::string& path) {
    const FileDescriptor folder(
        openRetrying(support::deletingLastPathComponent(path), O_RDONLY | O_DIRECTORY));
    if (folder.get() >= 0) (void)flush(folder.get());
}

void throwIfFailed(const std::error_code& error, const std::string& doing) {
    if (error) throw posixError(error.value(), doing);
}

// The root folder counts as one.
bool isMountPoint(const std::string& folder) {
    struct stat own {};
    struct stat above {};
    if (lstat(folder.c_str(), &own) != 0 || lstat((folder + "/..").c_str(), &above) != 0)
        return false;
    return own.st_dev != above.st_dev || own.st_ino == above.st_ino;
}

}  // namespace

void LinuxFileManager::createDirectory(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    throwIfFailed(error, "Could not create the folder " + path);
}

void LinuxFileManager::removeItem(const std::string& path) {
    const auto doing = "Could not remove " + path;
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) throw posixError(errno, doing);
    if (S_ISDIR(status.st_mode) && isMountPoint(path)) throw posixError(EBUSY, doing);
    std::error_code error;
    std::filesystem::remove_all(path, error);
    throwIfFailed(error, doing);
}

void LinuxFileManager::copyItem(const std::string& source, const std::string& destination) {
    const auto doing = "Could not copy " + source + " to " + destination;
    const FileDescriptor from(openRetrying(source, O_RDONLY));
    if (from.get() < 0) throw posixError(errno, doing);
    struct stat status {};
    if (fstat(from.get(), &status) != 0) throw posixError(errno, doing);
    if (!S_ISREG(status.st_mode))
        throw posixError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, doing);
    const FileDescriptor to(
        openRetrying(destination, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
    if (to.get() < 0) throw posixError(errno, doing);
    // The umask has no say in a copy.
    int error = setPermissions(to.get(), status.st_mode);
    if (error == 0) error = copyContent(from.get(), to.get());
    if (error == 0) error = flush(to.get());
    if (error != 0) {
        unlink(destination.c_str());
        throw posixError(error, doing);
    }
    flushName(destination);
}

void LinuxFileManager::replaceItem(const std::string& original, const std::string& replacement) {
    const auto doing = "Could not replace " + original;
    struct stat status {};
    if (lstat(original.c_str(), &status) != 0) throw posixError(errno, doing);
    {
        const FileDescriptor file(openRetrying(replacement, O_RDONLY | O_NOFOLLOW));
        if (file.get() < 0) throw posixError(errno, doing);
        struct stat own {};
        if (fstat(file.get(), &own) != 0) throw posixError(errno, doing);
        const bool changesOwner = own.st_uid != status.st_uid || own.st_gid != status.st_gid;
        // The owner first: changing it takes special permissions away.
        if (changesOwner && fchown(file.get(), status.st_uid, status.st_gid) != 0)
            throw posixError(errno, doing);
        if (const int error = setPermissions(file.get(), status.st_mode))
            throw posixError(error, doing);
        if (const int error = flush(file.get())) throw posixError(error, doing);
    }
    if (rename(replacement.c_str(), original.c_str()) != 0) throw posixError(errno, doing);
    flushName(original);
}

std::vector<std::string> LinuxFileManager::contentsOfDirectory(const std::string& path) {
    const auto doing = "Could not list the folder " + path;
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(path, error);
    throwIfFailed(error, doing);
    while (entry != std::filesystem::directory_iterator()) {
        names.push_back(entry->path().filename().string());
        entry.increment(error);
        throwIfFailed(error, doing);
    }
    return names;
}

std::unique_ptr<LogFile> LinuxFileManager::createLogFile(const std::string& path) {
    // A pipe without a reader is an error, rather than something to wait for.
    FileDescriptor file(
        openRetrying(path, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_NONBLOCK, readWriteForAll));
    if (file.get() < 0) throw posixError(errno, "Could not open " + path);
    return std::make_unique<BackgroundLogFile>(std::move(file));
}

}  // namespace quorvane::platform::files
