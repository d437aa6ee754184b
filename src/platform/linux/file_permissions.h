// The permissions of a file, as far as its file system keeps such.
#pragma once

#include <cerrno>

#include <sys/stat.h>

namespace quorvane::platform {

// Gives the file the permissions of this mode; 0, or the error's number. Where all files belong to
// whom their disk was mounted for (FAT, some network and user-space file systems), nobody else may
// change them, also not to what they are: that is no error.
inline int setPermissions(int descriptor, mode_t mode) {
    constexpr mode_t all = 07777;
    if (fchmod(descriptor, mode & all) == 0) return 0;
    // EACCES: what file systems over the network make of EPERM.
    const bool keepsNone =
        errno == EPERM || errno == EACCES || errno == EOPNOTSUPP || errno == ENOSYS;
    return keepsNone ? 0 : errno;
}

}  // namespace quorvane::platform
