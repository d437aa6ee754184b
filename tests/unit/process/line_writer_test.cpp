#include "platform/linux/process/line_writer.h"

#include <array>
#include <climits>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include "unit/temporary_folder.h"

namespace quorvane::platform::process {
namespace {

using namespace std::chrono_literals;

class Channel {
  public:
    explicit Channel(bool isSocket) {
        signal(SIGPIPE, SIG_IGN);
        const int result = isSocket ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends_.data())
                                    : pipe2(ends_.data(), O_CLOEXEC);
        EXPECT_EQ(result, 0);
        if (isSocket) std::swap(ends_[0], ends_[1]);
    }
    ~Channel() {
        closeReader();
        close(ends_[1]);
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    int writeEnd() const { return ends_[1]; }
    void closeReader() {
        if (ends_[0] >= 0) close(ends_[0]);
        ends_[0] = -1;
    }
    std::string read(std::size_t most = 1 << 20) {
        std::string text(most, '\0');
        const auto count = ::read(ends_[0], text.data(), text.size());
        text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return text;
    }
    // Everything that the reader gets until the other end is silent.
    std::string drain() {
        const int flags = fcntl(ends_[0], F_GETFL);
        fcntl(ends_[0], F_SETFL, flags | O_NONBLOCK);
        std::string all;
        for (auto part = read(); !part.empty(); part = read())
            all += part;
        fcntl(ends_[0], F_SETFL, flags);
        return all;
    }

  private:
    std::array<int, 2> ends_{-1, -1};
};

class LineWriterOn : public testing::TestWithParam<bool> {};

TEST_P(LineWriterOn, ALineGoesOutWhole) {
    Channel channel(GetParam());
    LineWriter writer(channel.writeEnd());
    writer.write("one\n", 0ms);
    writer.write("two\n", 1000ms);
    EXPECT_EQ(channel.drain(), "one\ntwo\n");
}

TEST_P(LineWriterOn, AReaderThatNeverReadsLosesLinesButBlocksNobody) {
    Channel channel(GetParam());
    LineWriter writer(channel.writeEnd());
    const std::string line = std::string(99, 'x') + "\n";
    for (int index = 0; index < 5000; ++index)
        writer.write(line, 0ms);
    const auto text = channel.drain();
    EXPECT_GT(text.size(), 1000U);
    EXPECT_LT(text.size(), 500'000U);
    EXPECT_EQ(text.size() % line.size(), 0U) << "a line was cut";
    writer.write("again\n", 0ms);
    EXPECT_EQ(channel.drain(), "again\n");
}

TEST_P(LineWriterOn, PatienceWaitsForAReaderThatComesBack) {
    Channel channel(GetParam());
    LineWriter writer(channel.writeEnd());
    const std::string line = std::string(99, 'x') + "\n";
    for (int index = 0; index < 5000; ++index)
        writer.write(line, 0ms);
    std::string received;
    std::thread reader([&] {
        std::this_thread::sleep_for(50ms);
        received = channel.drain();
    });
    writer.write("important\n", 10s);
    reader.join();
    received += channel.drain();
    EXPECT_NE(received.find("important\n"), std::string::npos);
}

TEST_P(LineWriterOn, AReaderThatHasStoppedIsWaitedForOnce) {
    Channel channel(GetParam());
    LineWriter writer(channel.writeEnd());
    for (int line = 0; line < 100'000; ++line)
        writer.write("filling the channel\n", 0ms);
    const auto begin = std::chrono::steady_clock::now();
    for (int line = 0; line < 20; ++line)
        writer.write(std::string(PIPE_BUF - 1, 'x') + "\n", 1000ms);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    channel.drain();
    writer.write("back\n", 1000ms);
    EXPECT_THAT(channel.drain(), testing::EndsWith("back\n"));
    // It is waited for again.
    for (int line = 0; line < 100'000; ++line)
        writer.write("filling the channel\n", 0ms);
    std::string read;
    std::thread reader([&] {
        std::this_thread::sleep_for(100ms);
        read = channel.drain();
    });
    writer.write("waited for\n", 10s);
    reader.join();
    EXPECT_THAT(read + channel.drain(), testing::EndsWith("waited for\n"));
}

TEST_P(LineWriterOn, ALongLineIsNeverCut) {
    Channel channel(GetParam());
    LineWriter writer(channel.writeEnd());
    const std::string filler = std::string(3999, 'f') + "\n";
    for (int index = 0; index < 200; ++index)
        writer.write(filler, 0ms);
    // Room for a part of the line only.
    std::string received = channel.read(6000);
    const std::string line = std::string(16000, 'l') + "\n";
    writer.write(line, 0ms);
    received += channel.drain();
    writer.write("next\n", 100ms);
    received += channel.drain();
    std::string rest = received;
    while (rest.compare(0, filler.size(), filler) == 0)
        rest.erase(0, filler.size());
    const bool whole = rest == line + "next\n";
    const bool dropped = rest == "next\n";
    EXPECT_TRUE(whole || dropped) << rest.size();
}

TEST_P(LineWriterOn, AReaderThatIsGoneIsNoError) {
    Channel channel(GetParam());
    LineWriter writer(channel.writeEnd());
    channel.closeReader();
    writer.write("lost\n", 1000ms);
    writer.write("lost\n", 0ms);
}

INSTANTIATE_TEST_SUITE_P(PipeAndSocket, LineWriterOn, testing::Values(false, true),
                         [](const auto& each) { return each.param ? "Socket" : "Pipe"; });

TEST(LineWriter, LeavesTheModeOfTheSharedDescriptorAlone) {
    Channel channel(false);
    LineWriter writer(channel.writeEnd());
    EXPECT_EQ(fcntl(channel.writeEnd(), F_GETFL) & O_NONBLOCK, 0);
}

TEST(LineWriter, WritesToAFileAndToNothing) {
    const TemporaryFolder folder;
    const int file = open((folder / "lines").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    {
        LineWriter writer(file);
        writer.write("a\n", 0ms);
        writer.write("b\n", 0ms);
    }
    std::array<char, 8> text{};
    EXPECT_EQ(pread(file, text.data(), text.size(), 0), 4);
    EXPECT_STREQ(text.data(), "a\nb\n");
    close(file);
    LineWriter closed(file);
    closed.write("lost\n", 0ms);
}

}  // namespace
}  // namespace quorvane::platform::process
