#include "platform/linux/small_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/file_descriptor.h"

namespace quorvane::platform {

std::optional<std::string> readSmallFile(const std::string& path, std::size_t most) {
    // A pipe in its place would block without O_NONBLOCK.
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (file.get() < 0 || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    std::string text(most, '\0');
    std::size_t length = 0;
    while (length < most) {
        const ssize_t count = read(file.get(), text.data() + length, most - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
    }
    text.resize(length);
    return text;
}

}  // namespace quorvane::platform
