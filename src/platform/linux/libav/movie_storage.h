// One file on disk as the movie writer needs it: written at known places, flushed, and changed in
// length at its end and, where the file system can, in its middle.
// Units: bytes. Threads: one at a time. Errors: PlatformError in the domain "POSIX" unless a
// function says that it answers with false.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace quorvane::platform::libav {

class MovieStorage {
  public:
    // Throws what createNew() would where something is at the path already.
    static void refuseExisting(const std::string& path);
    // Creates the file, which must not exist yet.
    static MovieStorage createNew(const std::string& path);

    MovieStorage(MovieStorage&& other) noexcept;
    MovieStorage& operator=(MovieStorage&&) = delete;
    // Closes the file.
    ~MovieStorage();

    const std::string& path() const { return path_; }

    // Writes the parts one after the other.
    void writeAt(std::int64_t offset, std::span<const std::span<const std::byte>> parts);
    void writeAt(std::int64_t offset, std::span<const std::byte> data);
    void truncate(std::int64_t size);
    // Gives the range real space on the disk, so that writing there cannot fail for want of it.
    void allocate(std::int64_t offset, std::int64_t size);
    // All that was written is on the disk when this returns, or what is needed to read it back.
    void flush();

    // The unit of the next two; what they are given is a multiple of it.
    std::int64_t blockSize() const;
    // Takes the range out of the file, what follows moves to its place; or puts an empty range in.
    // False when the file system cannot do that by moving blocks (ext4 and XFS can); then nothing
    // has changed.
    bool removeRange(std::int64_t offset, std::int64_t size) noexcept;
    bool insertRange(std::int64_t offset, std::int64_t size) noexcept;

    // Copies the range of the other file to the same place of this one; without moving a byte where
    // the file system can share them.
    void copyRange(const MovieStorage& from, std::int64_t fromOffset, std::int64_t offset,
                   std::int64_t size);
    // Gives this file the permissions of the other and puts it in the other's place, if that still
    // has its path. Both paths lie in one folder.
    void replace(const MovieStorage& other);
    // Removes the file from its folder, if it still is the one of that name.
    void unlink() noexcept;

  private:
    MovieStorage(int descriptor, std::string path);
    bool isAtPath(const std::string& path) const noexcept;
    [[noreturn]] void fail(int errorNumber) const;

    int descriptor_;
    std::string path_;
};

}  // namespace quorvane::platform::libav
