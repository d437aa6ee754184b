// The capture stream between fake sources and fake receivers, on real threads. Every wait is for a
// condition and bounded; nothing is said about speed.
#include "platform/linux/linux_capture.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/platform_error.h"
#include "simulation/sim_samples.h"
#include "support/mutex.h"

namespace quorvane::platform {
namespace {

using namespace std::chrono_literals;
using support::MutexLock;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr auto patience = 20s;
constexpr support::MediaTime now(1000s);

bool comesTrue(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

class FixedClock final : public support::Clock {
  public:
    support::MediaTime hostTime() const override { return now; }
    support::WallTime wallTime() const override { return support::WallTime(0s); }
};

// What happened, in order. Any thread.
class Journal {
  public:
    void add(std::string entry) QUORVANE_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        entries_.push_back(std::move(entry));
    }
    std::vector<std::string> entries() const QUORVANE_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return entries_;
    }
    bool has(const std::string& entry) const {
        const auto all = entries();
        return std::ranges::find(all, entry) != all.end();
    }

  private:
    mutable support::Mutex mutex_;
    std::vector<std::string> entries_ QUORVANE_GUARDED_BY(mutex_);
};

// A door that a source waits at until the test opens it.
class Gate {
  public:
    void open() { promise_.set_value(); }
    void pass() const { future_.wait(); }

  private:
    std::promise<void> promise_;
    std::shared_future<void> future_ = promise_.get_future().share();
};

// How one source behaves.
struct Script {
    std::exception_ptr startError;
    std::exception_ptr endsWith;         // the screen ends by itself, after its first picture
    std::shared_ptr<Gate> startsBehind;  // nothing: at once
    std::shared_ptr<Gate> stopsBehind;
};

// What screen and sound have in common: samples on a thread of its own, one more while it stops.
class FakeSource {
  public:
    FakeSource(std::string name, Script script, std::shared_ptr<Journal> journal)
        : name_(std::move(name)), script_(std::move(script)), journal_(std::move(journal)) {}
    ~FakeSource() { join(); }
    FakeSource(const FakeSource&) = delete;
    FakeSource& operator=(const FakeSource&) = delete;

    void start(std::function<void()> deliver,
               const std::function<void(std::exception_ptr)>& onEnded) {
        journal_->add(name_ + " starts");
        if (script_.startsBehind) script_.startsBehind->pass();
        if (script_.startError) std::rethrow_exception(script_.startError);
        deliver_ = std::move(deliver);
        thread_ = std::thread([this, onEnded] {
            deliver_();
            if (script_.endsWith) return onEnded(script_.endsWith);
            while (!stopping_) {
                std::this_thread::sleep_for(1ms);
                deliver_();
            }
        });
    }
    void stop(const std::string& when) {
        if (script_.stopsBehind) script_.stopsBehind->pass();
        if (thread_.joinable()) deliver_();
        join();
        journal_->add(name_ + " stops" + when);
    }

  private:
    void join() {
        stopping_ = true;
        if (thread_.joinable()) thread_.join();
    }

    const std::string name_;
    const Script script_;
    const std::shared_ptr<Journal> journal_;
    std::function<void()> deliver_;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

class FakeScreen final : public ScreenSource {
  public:
    FakeScreen(const Script& script, std::shared_ptr<Journal> journal)
        : source_("screen", script, std::move(journal)) {}
    void start(Events events) override {
        source_.start(
            [onPicture = events.onPicture] {
                onPicture(std::make_shared<simulation::SimPicture>(now));
            },
            events.onEnded);
    }
    void stop() noexcept override { source_.stop(""); }

  private:
    FakeSource source_;
};

class FakeAudio final : public AudioSource {
  public:
    FakeAudio(std::string name, const Script& script, std::shared_ptr<Journal> journal)
        : source_(std::move(name), script, std::move(journal)) {}
    void start(OnSamples onSamples) override {
        source_.start([onSamples] { onSamples(simulation::steadySound(now, 0.1F, 16)); }, {});
    }
    void stop(support::MediaTime end) noexcept override {
        source_.stop(end == now                         ? " with what came before the request"
                     : end == support::MediaTime::min() ? " at once"
                                                        : " at another time");
    }

  private:
    FakeSource source_;
};

// Keeps its tasks until the test runs them.
class ManualQueue final : public support::Queue {
  public:
    void post(support::Task task) override {
        MutexLock lock(mutex_);
        tasks_.push_back(std::move(task));
        ++posted_;
    }
    bool isCurrent() const override { return false; }
    int posted() const {
        MutexLock lock(mutex_);
        return posted_;
    }
    void runAll() {
        std::vector<support::Task> tasks;
        {
            MutexLock lock(mutex_);
            tasks.swap(tasks_);
        }
        for (auto& task : tasks)
            task();
    }

  private:
    mutable support::Mutex mutex_;
    std::vector<support::Task> tasks_ QUORVANE_GUARDED_BY(mutex_);
    int posted_ QUORVANE_GUARDED_BY(mutex_) = 0;
};

struct Receiver final : StreamOutput {
    void didOutputSampleBuffer(const SampleBufferPtr& sample, StreamOutputType type) override {
        received.emplace_back(type, sample->picture() != nullptr);
    }
    std::vector<std::pair<StreamOutputType, bool>> received;  // type, whether it is a picture
};

struct Delegate final : StreamDelegate {
    void didStopWithError(std::exception_ptr error) override { ended.set_value(error); }
    std::promise<std::exception_ptr> ended;
};

// The answer to a start or a stop request; may come after the test has let go of it.
class Answer {
  public:
    CaptureStream::Completion completion(std::function<void()> before = [] {}) const {
        return [state = state_, before = std::move(before)](std::exception_ptr error) {
            before();
            if (++state->calls == 1) state->promise.set_value(std::move(error));
        };
    }
    bool comes() const { return state_->future.wait_for(patience) == std::future_status::ready; }
    // Once it has come.
    std::exception_ptr error() const { return state_->future.get(); }
    int calls() const { return state_->calls; }

  private:
    struct State {
        std::promise<std::exception_ptr> promise;
        std::shared_future<std::exception_ptr> future = promise.get_future().share();
        std::atomic<int> calls = 0;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

std::exception_ptr someError() {
    return std::make_exception_ptr(PlatformError("Test", 5, "A source that cannot."));
}

class LinuxCapture : public testing::Test {
  protected:
    ~LinuxCapture() override {
        // Whatever the test left running ends; sources that are stopped are gone.
        stream.reset();
    }

    void make() {
        LinuxCaptureService service(
            {.screen = [script = screen, journal = journal](
                           const ContentFilter&,
                           const StreamConfiguration&) -> std::unique_ptr<ScreenSource> {
                 return std::make_unique<FakeScreen>(script, journal);
             },
             .systemAudio = [script = system, journal = journal]() -> std::unique_ptr<AudioSource> {
                 return std::make_unique<FakeAudio>("system", script, journal);
             },
             .microphone =
                 [script = microphone, journal = journal](
                     const std::optional<std::string>& device) -> std::unique_ptr<AudioSource> {
                 return std::make_unique<FakeAudio>("microphone " + device.value_or("default"),
                                                    script, journal);
             }},
            clock);
        StreamConfiguration configuration;
        configuration.microphoneCaptureDeviceID = "mic-1";
        stream = service.makeStream(service.makeContentFilter(DisplayContent{}), configuration,
                                    delegate);
        for (const auto type :
             {StreamOutputType::screen, StreamOutputType::audio, StreamOutputType::microphone})
            stream->addOutput(receiver, type, queue);
    }
    void start() {
        make();
        const Answer answer;
        stream->startCapture(answer.completion());
        ASSERT_TRUE(answer.comes());
        ASSERT_EQ(answer.error(), nullptr);
    }
    // The tasks that were posted to the stream before have been done.
    void drain() {
        const Answer answer;
        stream->stopCapture(answer.completion());
        ASSERT_TRUE(answer.comes());
    }

    FixedClock clock;
    std::shared_ptr<Journal> journal = std::make_shared<Journal>();
    std::shared_ptr<ManualQueue> queue = std::make_shared<ManualQueue>();
    std::shared_ptr<Receiver> receiver = std::make_shared<Receiver>();
    std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
    Script screen;
    Script system;
    Script microphone;
    std::shared_ptr<CaptureStream> stream;
};

TEST_F(LinuxCapture, StartsTheSoundsAndThenTheScreen) {
    start();
    EXPECT_THAT(journal->entries(),
                ElementsAre("system starts", "microphone mic-1 starts", "screen starts"));
    drain();
}

TEST_F(LinuxCapture, SamplesReachTheirReceiverOnItsQueueUnderTheirType) {
    start();
    ASSERT_TRUE(comesTrue([&] {
        queue->runAll();
        const auto has = [&](StreamOutputType type) {
            return std::ranges::find(receiver->received,
                                     std::pair(type, type == StreamOutputType::screen)) !=
                   receiver->received.end();
        };
        return has(StreamOutputType::screen) && has(StreamOutputType::audio) &&
               has(StreamOutputType::microphone);
    }));
    drain();
    for (const auto& [type, isPicture] : receiver->received)
        EXPECT_EQ(isPicture, type == StreamOutputType::screen);
}

TEST_F(LinuxCapture, SamplesOnTheirWayDoNotKeepTheirReceiverAlive) {
    start();
    ASSERT_TRUE(comesTrue([&] { return queue->posted() > 3; }));
    const std::weak_ptr<Receiver> weak = receiver;
    receiver.reset();
    EXPECT_TRUE(weak.expired());
    queue->runAll();
    drain();
}

TEST_F(LinuxCapture, AScreenThatCannotStartEndsTheSoundsThatHaveStarted) {
    screen.startError = someError();
    make();
    const Answer started;
    stream->startCapture(started.completion([this] { journal->add("answered"); }));
    ASSERT_TRUE(started.comes());
    EXPECT_EQ(started.error(), screen.startError);
    auto entries = journal->entries();
    ASSERT_GE(entries.size(), 4U);
    EXPECT_EQ(entries.back(), "answered");
    EXPECT_THAT(std::vector(entries.begin(), entries.begin() + 3),
                ElementsAre("system starts", "microphone mic-1 starts", "screen starts"));
    EXPECT_THAT(entries, testing::Contains("system stops at once").Times(1));
    EXPECT_THAT(entries, testing::Contains("microphone mic-1 stops at once").Times(1));
    const auto posted = queue->posted();
    drain();
    EXPECT_EQ(started.calls(), 1);
    EXPECT_EQ(queue->posted(), posted);
}

TEST_F(LinuxCapture, ASoundThatCannotStartEndsTheOtherAndLeavesTheScreenAlone) {
    microphone.startError = someError();
    make();
    const Answer started;
    stream->startCapture(started.completion());
    ASSERT_TRUE(started.comes());
    EXPECT_EQ(started.error(), microphone.startError);
    EXPECT_THAT(journal->entries(),
                ElementsAre("system starts", "microphone mic-1 starts", "system stops at once"));
    drain();
    EXPECT_EQ(started.calls(), 1);
}

TEST_F(LinuxCapture, AStopBehindARunningStartWaitsForIt) {
    screen.startsBehind = std::make_shared<Gate>();
    make();
    const Answer started;
    const Answer stopped;
    stream->startCapture(started.completion([this] { journal->add("started"); }));
    ASSERT_TRUE(comesTrue([&] { return journal->has("screen starts"); }));
    stream->stopCapture(stopped.completion([this] { journal->add("stopped"); }));
    EXPECT_EQ(started.calls(), 0);
    EXPECT_EQ(stopped.calls(), 0);
    screen.startsBehind->open();
    ASSERT_TRUE(stopped.comes());
    ASSERT_TRUE(started.comes());
    EXPECT_EQ(started.error(), nullptr);
    EXPECT_EQ(stopped.error(), nullptr);
    const auto entries = journal->entries();
    ASSERT_EQ(entries.size(), 8U);
    EXPECT_EQ(entries[3], "started");
    EXPECT_THAT(
        std::vector(entries.begin() + 4, entries.begin() + 7),
        UnorderedElementsAre("screen stops", "system stops with what came before the request",
                             "microphone mic-1 stops with what came before the request"));
    EXPECT_EQ(entries[7], "stopped");
}

TEST_F(LinuxCapture, NoSampleIsPostedBehindTheStopsCompletion) {
    start();
    ASSERT_TRUE(comesTrue([&] { return queue->posted() > 10; }));
    std::atomic<int> postedAtCompletion = -1;
    const Answer stopped;
    stream->stopCapture(stopped.completion([&] { postedAtCompletion = queue->posted(); }));
    ASSERT_TRUE(stopped.comes());
    // The sources deliver every millisecond as long as they live.
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(queue->posted(), postedAtCompletion);
    EXPECT_EQ(stopped.calls(), 1);
}

TEST_F(LinuxCapture, AScreenThatEndsByItselfTellsTheDelegate) {
    screen.endsWith = someError();
    start();
    auto ended = delegate->ended.get_future();
    ASSERT_EQ(ended.wait_for(patience), std::future_status::ready);
    EXPECT_EQ(ended.get(), screen.endsWith);
    // The sounds go on until they are told to stop.
    EXPECT_FALSE(journal->has("system stops at once"));
    drain();
    EXPECT_TRUE(journal->has("system stops with what came before the request"));
}

TEST_F(LinuxCapture, AScreenMayEndWhenItsDelegateIsGone) {
    screen.endsWith = someError();
    screen.startsBehind = std::make_shared<Gate>();
    make();
    const Answer started;
    stream->startCapture(started.completion());
    const std::weak_ptr<Delegate> weak = delegate;
    delegate.reset();
    EXPECT_TRUE(weak.expired());
    screen.startsBehind->open();
    ASSERT_TRUE(started.comes());
    drain();
    EXPECT_TRUE(journal->has("screen stops"));
}

TEST_F(LinuxCapture, AStreamThatGoesWithoutAStopEndsItsSources) {
    start();
    stream.reset();
    EXPECT_TRUE(comesTrue([&] {
        return journal->has("screen stops") && journal->has("system stops at once") &&
               journal->has("microphone mic-1 stops at once");
    }));
}

TEST_F(LinuxCapture, ASourceWhoseStopHangsHoldsUpNeitherTheCallerNorTheStreamsEnd) {
    struct Row {
        const char* name;
        Script& source;
    };
    const Row rows[] = {{"screen", screen}, {"system", system}, {"microphone", microphone}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        journal = std::make_shared<Journal>();
        const auto gate = std::make_shared<Gate>();
        row.source.stopsBehind = gate;
        start();
        row.source.stopsBehind = nullptr;
        const Answer stopped;
        auto caller = std::async(std::launch::async, [&] {
            stream->stopCapture(stopped.completion());
            stream.reset();
        });
        EXPECT_EQ(caller.wait_for(patience), std::future_status::ready);
        gate->open();
        caller.wait();
        // What hung comes back and is cleared away all the same.
        EXPECT_TRUE(stopped.comes());
        EXPECT_TRUE(comesTrue([&] { return journal->entries().size() == 6; }));
        EXPECT_EQ(stopped.calls(), 1);
    }
}

TEST_F(LinuxCapture, AStartThatHangsHoldsUpNeitherTheCallerNorTheStreamsEnd) {
    screen.startsBehind = std::make_shared<Gate>();
    make();
    const Answer started;
    auto caller = std::async(std::launch::async, [&] {
        stream->startCapture(started.completion());
        stream.reset();
    });
    EXPECT_EQ(caller.wait_for(patience), std::future_status::ready);
    screen.startsBehind->open();
    caller.wait();
    EXPECT_TRUE(started.comes());
    EXPECT_TRUE(comesTrue([&] { return journal->has("screen stops"); }));
}

TEST(LinuxContentFilter, LiesWhereTheContentLiesAndAPointIsAPixel) {
    const Display display{1, 1920, 1080, {1280, 0, 1920, 1080}};
    Window window;
    window.frame = {30, 40, 500, 600};
    struct Row {
        const char* name;
        CapturedContent content;
        support::Rect rect;
    };
    const Row rows[] = {
        {"a display", DisplayContent{display, {}}, {1280, 0, 1920, 1080}},
        {"a window", WindowContent{window}, {30, 40, 500, 600}},
        {"an application", ApplicationContent{display, {}, {}}, {1280, 0, 1920, 1080}},
    };
    const FixedClock clock;
    LinuxCaptureService service({}, clock);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto filter = service.makeContentFilter(row.content);
        EXPECT_EQ(filter.contentRect, row.rect);
        EXPECT_EQ(filter.pointPixelScale, 1);
    }
}

}  // namespace
}  // namespace quorvane::platform
