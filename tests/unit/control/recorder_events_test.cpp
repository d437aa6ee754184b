#include "control/recorder_events.h"

#include <cmath>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::control {
namespace {

// Takes lines in two pieces, so that two that are written at once would mix.
class SlowProcess final : public platform::Process {
  public:
    void ignoreSignal(platform::Signal) override {}
    std::unique_ptr<platform::EventSource> signalSource(platform::Signal, support::Queue&,
                                                        std::function<void()>) override {
        return nullptr;
    }
    std::unique_ptr<platform::EventSource> parentExitSource(support::Queue&,
                                                            std::function<void()>) override {
        return nullptr;
    }
    void readStandardInput(std::size_t atMost,
                           std::function<void(std::span<const std::byte>)>) override {
        largestRead = atMost;
    }
    void writeStandardOutput(std::string_view line, std::chrono::milliseconds) override {
        written += line.substr(0, line.size() / 2);
        std::this_thread::yield();
        written += line.substr(line.size() / 2);
    }
    void writeStandardError(std::string_view) override {}
    std::string written;
    std::optional<std::size_t> largestRead;
};

TEST(RecorderEvents, LinesOfTwoThreadsNeverMix) {
    SlowProcess process;
    RecorderEvents events(process);
    RecorderMessage message;
    message.kind = RecorderMessage::Kind::warning;
    message.error = std::string(200, 'x');
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            for (int count = 0; count < 50; ++count)
                events.send(message);
        });
    }
    for (auto& thread : threads)
        thread.join();
    const auto line = support::jsonText(message, support::JsonOrder::declared) + "\n";
    std::string expected;
    for (int count = 0; count < 200; ++count)
        expected += line;
    EXPECT_EQ(process.written, expected);
}

TEST(RecorderEvents, AMessageThatCannotBeEncodedIsDropped) {
    SlowProcess process;
    RecorderEvents events(process);
    RecorderMessage message;
    message.wallClock = std::nan("");
    events.send(message);
    EXPECT_EQ(process.written, "");
}

TEST(RecorderEvents, CommandsAreReadFourThousandNinetySixBytesAtATime) {
    SlowProcess process;
    RecorderEvents events(process);
    EXPECT_EQ(process.largestRead, std::nullopt);
    events.readCommands([](const RecorderCommand&) {});
    EXPECT_EQ(process.largestRead, 4096U);
}

}  // namespace
}  // namespace quorvane::control
