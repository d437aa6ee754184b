#include "platform/linux/x11/shared_memory.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/reply.h"
#include "platform/platform_error.h"

namespace quorvane::platform::x11 {

SharedMemory::~SharedMemory() {
    xcb_shm_detach(xcb_, segment_);
    munmap(memory_, bytes_);
}

std::unique_ptr<SharedMemory> SharedMemory::make(const Connection& connection, std::size_t bytes) {
    // A descriptor sent over anything but a local socket breaks the connection.
    if (!connection.isLocal() || !connection.has(xcb_shm_id)) return nullptr;
    xcb_connection_t* xcb = connection.xcb();
    const Reply<xcb_shm_query_version_reply_t> version(
        xcb_shm_query_version_reply(xcb, xcb_shm_query_version(xcb), nullptr));
    const bool takesDescriptors =
        version && (version->major_version > 1 || version->minor_version >= 2);
    if (!takesDescriptors) return nullptr;

    const int descriptor = memfd_create("quorvane-x11", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (descriptor < 0) throw posixError(errno, "Could not create shared memory");
    if (ftruncate(descriptor, static_cast<off_t>(bytes)) != 0) {
        const int error = errno;
        close(descriptor);
        throw posixError(error, "Could not size shared memory");
    }
    // The server reads from memory that nobody can shrink under it.
    if (fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
        const int error = errno;
        close(descriptor);
        throw posixError(error, "Could not seal shared memory");
    }
    void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED) {
        const int error = errno;
        close(descriptor);
        throw posixError(error, "Could not map shared memory");
    }
    const std::uint32_t segment = xcb_generate_id(xcb);
    std::unique_ptr<SharedMemory> result(new SharedMemory(xcb, segment, memory, bytes));
    // XCB closes the descriptor.
    const auto cookie = xcb_shm_attach_fd_checked(xcb, segment, descriptor, false);
    const Reply<xcb_generic_error_t> error(xcb_request_check(xcb, cookie));
    if (error) return nullptr;
    return result;
}

}  // namespace quorvane::platform::x11
