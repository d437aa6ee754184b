#include "platform/linux/files/linux_file_manager.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <set>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/files/system_random.h"
#include "platform/platform_error.h"
#include "unit/files/test_folder.h"

namespace {

int chmodError = 0;  // of every change of permissions through a descriptor; 0: none

}  // namespace

// Takes the place of the C library's function in this program.
extern "C" int fchmod(int descriptor, mode_t mode) noexcept {
    if (chmodError != 0) {
        errno = chmodError;
        return -1;
    }
    return reinterpret_cast<decltype(&fchmod)>(dlsym(RTLD_NEXT, "fchmod"))(descriptor, mode);
}

namespace quorvane::platform::files {
namespace {

using std::filesystem::exists;
using testing::ElementsAre;

// The errno of the call's failure; 0 for none.
int errorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), "POSIX");
        return static_cast<int>(error.code());
    }
    return 0;
}

class LinuxFileManagerTest : public testing::Test {
  protected:
    LinuxFileManager files;
    TestFolder folder;
};

TEST_F(LinuxFileManagerTest, FoldersAreMadeWithThoseAboveThem) {
    files.createDirectory(folder / "a/b/c");
    EXPECT_TRUE(std::filesystem::is_directory(folder / "a/b/c"));
    files.createDirectory(folder / "a/b/c");
    files.createDirectory(".");
    write(folder / "file", "");
    EXPECT_NE(errorOf([&] { files.createDirectory(folder / "file/under"); }), 0);
    EXPECT_NE(errorOf([&] { files.createDirectory(folder / "file"); }), 0);
}

TEST_F(LinuxFileManagerTest, ItemsOfEverySortAreRemoved) {
    write(folder / "file", "x");
    write(folder / "kept", "x");
    std::filesystem::create_symlink(folder / "kept", folder / "link");
    files.createDirectory(folder / "dir/deep");
    write(folder / "dir/deep/file", "x");
    std::filesystem::create_symlink(folder / "kept", folder / "dir/link");
    for (const char* name : {"file", "link", "dir"}) {
        files.removeItem(folder / name);
        EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(folder / name)));
    }
    EXPECT_EQ(read(folder / "kept"), "x");
    EXPECT_EQ(errorOf([&] { files.removeItem(folder / "file"); }), ENOENT);
}

TEST_F(LinuxFileManagerTest, AFolderThatSomethingIsMountedOnKeepsItsContents) {
    EXPECT_EQ(errorOf([&] { files.removeItem("/proc"); }), EBUSY);
}

TEST_F(LinuxFileManagerTest, ACopyHasTheContentAndThePermissions) {
    for (const std::size_t size : {0U, 1U, 100'000U, 5'000'000U}) {
        SCOPED_TRACE(size);
        std::string content(size, '\0');
        for (std::size_t index = 0; index < size; ++index)
            content[index] = static_cast<char>(index * 31 % 251);
        write(folder / "from", content);
        ASSERT_EQ(chmod((folder / "from").c_str(), 0626), 0);
        files.copyItem(folder / "from", folder / "to");
        EXPECT_TRUE(read(folder / "to") == content);
        EXPECT_TRUE(read(folder / "from") == content);
        struct stat status {};
        ASSERT_EQ(stat((folder / "to").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0626);
        files.removeItem(folder / "to");
    }
}

TEST_F(LinuxFileManagerTest, WherePermissionsCannotBeChangedThatIsNoError) {
    for (const int error : {EPERM, EOPNOTSUPP, ENOSYS, EIO}) {
        SCOPED_TRACE(error);
        write(folder / "movie", "old");
        write(folder / "mixed", "new");
        const int expected = error == EIO ? EIO : 0;
        chmodError = error;
        EXPECT_EQ(errorOf([&] { files.copyItem(folder / "movie", folder / "copy"); }), expected);
        EXPECT_EQ(errorOf([&] { files.replaceItem(folder / "movie", folder / "mixed"); }),
                  expected);
        chmodError = 0;
        EXPECT_EQ(read(folder / "movie"), expected == 0 ? "new" : "old");
        EXPECT_EQ(exists(folder / "copy"), expected == 0);
        files.removeItem(folder / "movie");
        if (exists(folder / "copy")) files.removeItem(folder / "copy");
    }
}

TEST_F(LinuxFileManagerTest, ACopyToAnotherFileSystemGoesThroughMemory) {
    const std::string content(3'000'001, 'c');
    write(folder / "from", content);
    const auto elsewhere = "/dev/shm/copy-" + std::to_string(getpid());
    files.copyItem(folder / "from", elsewhere);
    EXPECT_TRUE(read(elsewhere) == content);
    files.removeItem(elsewhere);
}

TEST_F(LinuxFileManagerTest, ACopyThatFailsLeavesNothing) {
    write(folder / "from", std::string(100'000, 'x'));
    write(folder / "there", "precious");
    EXPECT_EQ(errorOf([&] { files.copyItem(folder / "from", folder / "there"); }), EEXIST);
    EXPECT_EQ(read(folder / "there"), "precious");
    EXPECT_EQ(errorOf([&] { files.copyItem(folder / "none", folder / "to"); }), ENOENT);
    EXPECT_EQ(errorOf([&] { files.copyItem(folder / "from", folder / "none/to"); }), ENOENT);
    EXPECT_EQ(errorOf([&] { files.copyItem(folder / "", folder / "to"); }), EISDIR);

    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit tight{5000, before.rlim_max};
    ASSERT_NE(signal(SIGXFSZ, SIG_IGN), SIG_ERR);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
    const int error = errorOf([&] { files.copyItem(folder / "from", folder / "to"); });
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(error, EFBIG);
    EXPECT_FALSE(exists(folder / "to"));
}

TEST_F(LinuxFileManagerTest, AReplacementTakesThePlaceThePermissionsAndTheOwner) {
    write(folder / "movie", "old");
    write(folder / ".movie-mixed", "new");
    ASSERT_EQ(chmod((folder / "movie").c_str(), 0640), 0);
    const bool isRoot = geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(chown((folder / "movie").c_str(), 12345, 23456), 0);
    }
    files.replaceItem(folder / "movie", folder / ".movie-mixed");
    EXPECT_EQ(read(folder / "movie"), "new");
    EXPECT_FALSE(exists(folder / ".movie-mixed"));
    struct stat status {};
    ASSERT_EQ(stat((folder / "movie").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640);
    EXPECT_EQ(status.st_uid, isRoot ? 12345 : getuid());
    EXPECT_EQ(status.st_gid, isRoot ? 23456 : getgid());
}

TEST_F(LinuxFileManagerTest, AReplacementThatFailsLeavesTheOriginal) {
    write(folder / "movie", "old");
    EXPECT_EQ(errorOf([&] { files.replaceItem(folder / "movie", folder / "none"); }), ENOENT);
    EXPECT_EQ(read(folder / "movie"), "old");
    write(folder / "new", "new");
    EXPECT_EQ(errorOf([&] { files.replaceItem(folder / "none", folder / "new"); }), ENOENT);
    EXPECT_EQ(read(folder / "new"), "new");
}

TEST_F(LinuxFileManagerTest, NamesAreListedWithoutTheFoldersOwn) {
    write(folder / ".hidden", "");
    write(folder / "-dash", "");
    files.createDirectory(folder / "sub/deeper");
    auto names = files.contentsOfDirectory(folder / "");
    std::sort(names.begin(), names.end());
    EXPECT_THAT(names, ElementsAre("-dash", ".hidden", "sub"));
    EXPECT_EQ(errorOf([&] { files.contentsOfDirectory(folder / "none"); }), ENOENT);
    EXPECT_EQ(errorOf([&] { files.contentsOfDirectory(folder / "-dash"); }), ENOTDIR);
}

TEST(SystemRandom, GivesOtherBytesEachTime) {
    SystemRandom random;
    std::set<std::string> seen;
    for (int draw = 0; draw < 100; ++draw) {
        std::string bytes(16, '\0');
        random.fill(std::as_writable_bytes(std::span(bytes)));
        seen.insert(bytes);
    }
    EXPECT_EQ(seen.size(), 100U);
}

}  // namespace
}  // namespace quorvane::platform::files
