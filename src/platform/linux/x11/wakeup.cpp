#include "platform/linux/x11/wakeup.h"

#include <cerrno>

#include <sys/eventfd.h>
#include <unistd.h>

#include "platform/platform_error.h"

namespace quorvane::platform::x11 {

Wakeup::Wakeup() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) throw posixError(errno, "Could not create an event descriptor");
}

Wakeup::~Wakeup() {
    close(descriptor_);
}

// Neither can fail but by a counter that is full or empty, which is what it should be.
void Wakeup::signal() noexcept {
    static_cast<void>(eventfd_write(descriptor_, 1));
}

void Wakeup::reset() noexcept {
    eventfd_t count = 0;
    static_cast<void>(eventfd_read(descriptor_, &count));
}

}  // namespace quorvane::platform::x11
