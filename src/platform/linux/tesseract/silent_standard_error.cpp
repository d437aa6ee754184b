#include "platform/linux/tesseract/silent_standard_error.h"

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace quorvane::platform::tesseract {

SilentStandardError::SilentStandardError()
    : before_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    if (before_.get() < 0) return;
    std::fflush(stderr);
    const FileDescriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (nowhere.get() >= 0) (void)dup2(nowhere.get(), STDERR_FILENO);
}

SilentStandardError::~SilentStandardError() {
    if (before_.get() < 0) return;
    std::fflush(stderr);
    (void)dup2(before_.get(), STDERR_FILENO);
}

}  // namespace quorvane::platform::tesseract
