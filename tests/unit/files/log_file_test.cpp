#include <array>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/platform_error.h"
#include "unit/files/test_folder.h"

namespace quorvane::platform::files {
namespace {

using namespace std::chrono_literals;

class LogFileTest : public testing::Test {
  protected:
    // The file's content as soon as it is the expected one, or that after the patience.
    std::string contentAwaiting(const std::string& expected,
                                std::chrono::seconds patience = 10s) const {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        auto content = read(path);
        while (content != expected && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(1ms);
            content = read(path);
        }
        return content;
    }
    // Of a log that is closed now. One that gave up waiting for the disk has taken a second, and
    // its thread still writes.
    std::string contentAfterClosing(std::unique_ptr<LogFile> log,
                                    const std::string& expected) const {
        const auto begin = std::chrono::steady_clock::now();
        log.reset();
        const bool mayHaveGivenUp = std::chrono::steady_clock::now() - begin >= 1s;
        return contentAwaiting(expected, mayHaveGivenUp ? 10s : 0s);
    }

    LinuxFileManager files;
    TestFolder folder;
    const std::string path = folder / "log";
};

TEST_F(LogFileTest, LinesAreThereInOrderWhenItIsClosed) {
    write(path, "old");
    std::string expected;
    auto log = files.createLogFile(path);
    for (int number = 0; number < 100; ++number) {
        const auto line = "line " + std::to_string(number) + "\n";
        log->append(line);
        expected += line;
    }
    EXPECT_EQ(contentAfterClosing(std::move(log), expected), expected);
}

TEST_F(LogFileTest, LinesArriveWhileItIsOpen) {
    const auto log = files.createLogFile(path);
    log->append("first\n");
    EXPECT_EQ(contentAwaiting("first\n"), "first\n");
}

TEST_F(LogFileTest, AFileThatCannotBeOpenedIsTheSystemsError) {
    EXPECT_THROW(files.createLogFile(folder / "none/log"), PlatformError);
    EXPECT_THROW(files.createLogFile(folder / ""), PlatformError);
}

TEST_F(LogFileTest, AVanishedFolderChangesNothing) {
    files.createDirectory(folder / "logs");
    const auto log = files.createLogFile(folder / "logs/log");
    files.removeItem(folder / "logs");
    log->append("nobody reads this\n");
}

// The limit on a file's size stands in for a full disk.
TEST_F(LogFileTest, ALineThatFindsNoRoomIsDroppedWhole) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit tight{10, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
    // The signal beside the error would end the process: the log's thread does not take it.
    auto log = files.createLogFile(path);
    log->append("12345\n");
    log->append("1234567890\n");
    log->append("123\n");
    const std::string expected = "12345\n123\n";
    const auto content = contentAfterClosing(std::move(log), expected);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(content, expected);
}

TEST_F(LogFileTest, APipeWithoutAReaderIsAnErrorAndOneWhoseReaderHasGoneIsIgnored) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_THROW(files.createLogFile(path), PlatformError);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    const auto log = files.createLogFile(path);
    close(reader);
    log->append("nobody reads this\n");
}

TEST_F(LogFileTest, AReaderThatDoesNotReadHoldsUpNobody) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    const auto begin = std::chrono::steady_clock::now();
    {
        const auto log = files.createLogFile(path);
        const std::string line(1023, 'x');
        for (int number = 0; number < 1000; ++number)
            log->append(line + "\n");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    close(reader);
}

}  // namespace
}  // namespace quorvane::platform::files
