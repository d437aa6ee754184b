#include "unit/libav/faulty_disk.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace quorvane::platform::libav {
namespace {

constexpr int never = 1 << 30;

std::atomic<int> diskCalls{0};
std::atomic<int> firstFault{never};
std::atomic<int> lastFault{never};
std::atomic<int> fault{0};  // errno; 0: the process dies

std::atomic<long> pretendedFileSystem{0};

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
void pretendFileSystem(long type) {
    pretendedFileSystem = type;
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

// As a file system does that copies piece by piece, each piece over the next.
int spoilFrom(int descriptor, off_t offset) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) return -1;
    const std::vector<char> piece(static_cast<std::size_t>(status.st_size - offset), 'x');
    return pwrite(descriptor, piece.data(), piece.size(), offset) < 0 ? -1 : 0;
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
using quorvane::platform::libav::pretendedFileSystem;
using quorvane::platform::libav::spoilFrom;

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
    constexpr int shifts = FALLOC_FL_COLLAPSE_RANGE | FALLOC_FL_INSERT_RANGE;
    if (pretendedFileSystem != 0 && (mode & shifts) != 0) return spoilFrom(descriptor, offset);
    return behind(fallocate, "fallocate")(descriptor, mode, offset, size);
}

int fstatfs(int descriptor, struct statfs* status) noexcept {
    const int result = behind(fstatfs, "fstatfs")(descriptor, status);
    if (pretendedFileSystem != 0) status->f_type = pretendedFileSystem;
    return result;
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
