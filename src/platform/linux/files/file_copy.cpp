#include "platform/linux/files/file_copy.h"

#include <cerrno>
#include <cstddef>
#include <vector>

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace quorvane::platform::files {
namespace {

constexpr std::size_t bufferSize = 1 << 20;
constexpr std::size_t largestRange = 1 << 30;  // what one call is asked for

int writeAll(int descriptor, const std::byte* data, std::size_t size) {
    while (size > 0) {
        const auto written = write(descriptor, data, size);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return errno;
        if (written == 0) return ENOSPC;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

int copyThroughBuffer(int source, int destination) {
    std::vector<std::byte> buffer(bufferSize);
    for (;;) {
        const auto count = read(source, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        if (count == 0) return 0;
        if (const int error = writeAll(destination, buffer.data(), static_cast<std::size_t>(count)))
            return error;
    }
}

// What copy_file_range says when it cannot do it for these files, rather than not any more.
bool isUnsupported(int error) {
    return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP ||
           error == EPERM || error == ETXTBSY || error == EBADF;
}

}  // namespace

int copyContent(int source, int destination) {
    if (ioctl(destination, FICLONE, source) == 0) return 0;
    for (;;) {
        const auto copied = copy_file_range(source, nullptr, destination, nullptr, largestRange, 0);
        if (copied > 0 || (copied < 0 && errno == EINTR)) continue;
        if (copied < 0 && !isUnsupported(errno)) return errno;
        // Both files stand where the last range ended. Nothing is left to read at a true end; some
        // file systems say "end" of files that the call cannot read.
        return copyThroughBuffer(source, destination);
    }
}

}  // namespace quorvane::platform::files
