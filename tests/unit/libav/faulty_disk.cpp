#include "unit/libav/faulty_disk.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <utility>

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

namespace quorvane::platform::libav {
namespace {

constexpr int never = 1 << 30;

std::atomic<int> diskCalls{0};
std::atomic<int> firstFault{never};
std::atomic<int> lastFault{never};
std::atomic<int> fault{0};  // errno; 0: the process dies

std::mutex eventMutex;
std::function<void()> flushEvent;

void arm(int first, int last, int errorNumber) {
    fault = errorNumber;
    diskCalls = 0;
    lastFault = last;
    firstFault = first;
}

}  // namespace

void dieAtCall(int nth) {
    arm(nth, never, 0);
}
void failAtCall(int nth, int errorNumber) {
    arm(nth, nth, errorNumber);
}
void failFromCall(int nth, int errorNumber) {
    arm(nth, never, errorNumber);
}
void beforeEachFlush(std::function<void()> event) {
    const std::lock_guard lock(eventMutex);
    flushEvent = std::move(event);
}
int countCalls() {
    firstFault = never;
    return diskCalls;
}

void announceFlush() {
    std::function<void()> event;
    {
        const std::lock_guard lock(eventMutex);
        event = flushEvent;
    }
    if (event) event();
}

// The error of this call, 0 for none.
int faultOfThisCall() {
    const int call = ++diskCalls;
    if (call < firstFault || call > lastFault) return 0;
    if (fault == 0) {
        kill(getpid(), SIGKILL);
        pause();
    }
    return fault;
}

// The function of the C library behind the one of the same name below.
template <class Function>
Function* behind(Function* /*own*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Others are written to, too: what wakes a queue is none of the disk's business.
bool isFile(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace quorvane::platform::libav

using quorvane::platform::libav::announceFlush;
using quorvane::platform::libav::behind;
using quorvane::platform::libav::faultOfThisCall;
using quorvane::platform::libav::isFile;

// These take the place of the C library's functions in this program.
extern "C" {

ssize_t write(int descriptor, const void* data, size_t size) {
    if (const int error = isFile(descriptor) ? faultOfThisCall() : 0) {
        errno = error;
        return -1;
    }
    return behind(write, "write")(descriptor, data, size);
}

ssize_t pwritev(int descriptor, const iovec* parts, int count, off_t offset) {
    if (const int error = faultOfThisCall()) {
        errno = error;
        return -1;
    }
    return behind(pwritev, "pwritev")(descriptor, parts, count, offset);
}

int fsync(int descriptor) {
    if (const int error = faultOfThisCall()) {
        errno = error;
        return -1;
    }
    return behind(fsync, "fsync")(descriptor);
}

int fdatasync(int descriptor) {
    announceFlush();
    if (const int error = faultOfThisCall()) {
        errno = error;
        return -1;
    }
    return behind(fdatasync, "fdatasync")(descriptor);
}

int fallocate(int descriptor, int mode, off_t offset, off_t size) {
    if (const int error = faultOfThisCall()) {
        errno = error;
        return -1;
    }
    return behind(fallocate, "fallocate")(descriptor, mode, offset, size);
}

int ftruncate(int descriptor, off_t size) noexcept {
    if (const int error = faultOfThisCall()) {
        errno = error;
        return -1;
    }
    return behind(ftruncate, "ftruncate")(descriptor, size);
}

ssize_t copy_file_range(int from, off64_t* fromOffset, int to, off64_t* toOffset, size_t size,
                        unsigned flags) {
    if (const int error = faultOfThisCall()) {
        errno = error;
        return -1;
    }
    return behind(copy_file_range, "copy_file_range")(from, fromOffset, to, toOffset, size, flags);
}

int rename(const char* from, const char* to) noexcept {
    if (const int error = faultOfThisCall()) {
        errno = error;
        return -1;
    }
    return behind(rename, "rename")(from, to);
}
}
