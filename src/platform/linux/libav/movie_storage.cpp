#include "platform/linux/libav/movie_storage.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "platform/linux/file_permissions.h"
#include "platform/platform_error.h"

namespace quorvane::platform::libav {
namespace {

constexpr std::size_t mostParts = 8;
constexpr std::size_t copyBufferSize = 1 << 20;

std::string folderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Others take the call, too, and copy what follows piece by piece, as Linux's SMB client does: what
// is cut off in the middle, or copied over itself, is neither the old file nor the new one.
bool movesBlocks(int descriptor) {
    struct statfs status {};
    return fstatfs(descriptor, &status) == 0 &&
           (status.f_type == EXT4_SUPER_MAGIC || status.f_type == XFS_SUPER_MAGIC);
}

[[noreturn]] void failToCreate(const std::string& path, int errorNumber) {
    throw posixError(errorNumber, "Could not create " + path);
}

}  // namespace

void MovieStorage::refuseExisting(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) failToCreate(path, EEXIST);
}

MovieStorage MovieStorage::createNew(const std::string& path) {
    constexpr mode_t readWriteForAll = 0666;  // less what the umask takes away
    int descriptor = -1;
    do {
        descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, readWriteForAll);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) failToCreate(path, errno);
    return {descriptor, path};
}

MovieStorage::MovieStorage(int descriptor, std::string path)
    : descriptor_(descriptor), path_(std::move(path)) {}

MovieStorage::MovieStorage(MovieStorage&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), path_(std::move(other.path_)) {}

MovieStorage::~MovieStorage() {
    // Everything that matters has been flushed, so closing has nothing to report.
    if (descriptor_ >= 0) close(descriptor_);
}

void MovieStorage::fail(int errorNumber) const {
    throw posixError(errorNumber, "Could not write " + path_);
}

void MovieStorage::writeAt(std::int64_t offset, std::span<const std::span<const std::byte>> parts) {
    assert(parts.size() <= mostParts);
    std::array<iovec, mostParts> vectors{};
    std::size_t count = 0;
    for (const auto part : parts) {
        if (part.empty()) continue;
        // writev does not change what it is given; its type is shared with readv.
        vectors[count++] = {const_cast<std::byte*>(part.data()), part.size()};
    }
    auto rest = std::span(vectors).first(count);
    while (!rest.empty()) {
        const auto written =
            pwritev(descriptor_, rest.data(), static_cast<int>(rest.size()), offset);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) fail(errno);
        if (written == 0) fail(ENOSPC);
        offset += written;
        auto done = static_cast<std::size_t>(written);
        while (!rest.empty() && done >= rest.front().iov_len) {
            done -= rest.front().iov_len;
            rest = rest.subspan(1);
        }
        if (!rest.empty()) {
            rest.front().iov_base = static_cast<std::byte*>(rest.front().iov_base) + done;
            rest.front().iov_len -= done;
        }
    }
}

void MovieStorage::writeAt(std::int64_t offset, std::span<const std::byte> data) {
    writeAt(offset, std::span(&data, 1));
}

void MovieStorage::truncate(std::int64_t size) {
    while (ftruncate(descriptor_, size) != 0) {
        if (errno != EINTR) fail(errno);
    }
}

void MovieStorage::allocate(std::int64_t offset, std::int64_t size) {
    int error = 0;
    do {
        error = posix_fallocate(descriptor_, offset, size);
    } while (error == EINTR);
    if (error != 0) fail(error);
}

void MovieStorage::flush() {
    while (fdatasync(descriptor_) != 0) {
        if (errno != EINTR) fail(errno);
    }
}

std::int64_t MovieStorage::blockSize() const {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0) fail(errno);
    return status.st_blksize;
}

bool MovieStorage::removeRange(std::int64_t offset, std::int64_t size) noexcept {
    return movesBlocks(descriptor_) &&
           fallocate(descriptor_, FALLOC_FL_COLLAPSE_RANGE, offset, size) == 0;
}

bool MovieStorage::insertRange(std::int64_t offset, std::int64_t size) noexcept {
    return movesBlocks(descriptor_) &&
           fallocate(descriptor_, FALLOC_FL_INSERT_RANGE, offset, size) == 0;
}

void MovieStorage::copyRange(const MovieStorage& from, std::int64_t fromOffset, std::int64_t offset,
                             std::int64_t size) {
    while (size > 0) {
        const auto copied = copy_file_range(from.descriptor_, &fromOffset, descriptor_, &offset,
                                            static_cast<std::size_t>(size), 0);
        if (copied < 0 && errno == EINTR) continue;
        if (copied <= 0) break;  // not every file system can; what remains is read and written
        size -= copied;
    }
    std::vector<std::byte> buffer(size > 0 ? copyBufferSize : 0);
    while (size > 0) {
        const auto wanted = std::min(static_cast<std::size_t>(size), buffer.size());
        const auto read = pread(from.descriptor_, buffer.data(), wanted, fromOffset);
        if (read < 0 && errno == EINTR) continue;
        if (read <= 0) fail(read < 0 ? errno : EIO);
        writeAt(offset, std::span(buffer).first(static_cast<std::size_t>(read)));
        fromOffset += read;
        offset += read;
        size -= read;
    }
}

bool MovieStorage::isAtPath(const std::string& path) const noexcept {
    struct stat own {};
    struct stat there {};
    return fstat(descriptor_, &own) == 0 && lstat(path.c_str(), &there) == 0 &&
           own.st_dev == there.st_dev && own.st_ino == there.st_ino;
}

void MovieStorage::replace(const MovieStorage& other) {
    if (!other.isAtPath(other.path_)) fail(ESTALE);
    struct stat status {};
    if (fstat(other.descriptor_, &status) != 0) fail(errno);
    if (const int error = setPermissions(descriptor_, status.st_mode)) fail(error);
    if (rename(path_.c_str(), other.path_.c_str()) != 0) fail(errno);
    path_ = other.path_;
    const int folder = open(folderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return;
    // The movie is whole under its name either way; this only hastens the name to the disk.
    (void)fsync(folder);
    close(folder);
}

void MovieStorage::unlink() noexcept {
    if (isAtPath(path_)) ::unlink(path_.c_str());
}

}  // namespace quorvane::platform::libav
