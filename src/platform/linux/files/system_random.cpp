#include "platform/linux/files/system_random.h"

#include <cerrno>

#include <sys/random.h>

#include "platform/platform_error.h"

namespace quorvane::platform::files {

void SystemRandom::fill(std::span<std::byte> bytes) {
    while (!bytes.empty()) {
        const auto count = getrandom(bytes.data(), bytes.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw posixError(errno, "Could not get random bytes");
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

}  // namespace quorvane::platform::files
