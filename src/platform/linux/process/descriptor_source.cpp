#include "platform/linux/process/descriptor_source.h"

#include <cerrno>
#include <cstdint>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>

#include "platform/platform_error.h"
#include "support/background_thread.h"

namespace quorvane::platform::process {
namespace {

FileDescriptor makeWake() {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) throw posixError(errno, "Could not create an event descriptor");
    return FileDescriptor(descriptor);
}

}  // namespace

DescriptorSource::DescriptorSource(const std::string& name, FileDescriptor descriptor,
                                   std::function<bool(int descriptor)> consume,
                                   support::Queue& queue, std::function<void()> handler)
    : descriptor_(std::move(descriptor)), wake_(makeWake()) {
    thread_ = support::startBackgroundThread(
        name, [fd = descriptor_.get(), wake = wake_.get(), consume = std::move(consume), &queue,
               handler = std::move(handler)] {
            bool waiting = true;
            while (waiting) {
                pollfd ready[] = {{fd, POLLIN, 0}, {wake, POLLIN, 0}};
                if (poll(ready, 2, -1) < 0) {
                    if (errno == EINTR) continue;
                    return;
                }
                if (ready[1].revents != 0) return;
                if (ready[0].revents == 0) continue;
                waiting = consume(fd);
                queue.post(handler);
            }
        });
}

DescriptorSource::~DescriptorSource() {
    DescriptorSource::cancel();
}

void DescriptorSource::cancel() {
    if (!thread_.joinable()) return;
    // An eventfd that is full is readable as well, so the result does not matter.
    (void)eventfd_write(wake_.get(), 1);
    thread_.join();
}

}  // namespace quorvane::platform::process
