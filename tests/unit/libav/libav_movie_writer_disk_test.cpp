// What is on the disk at every moment, and when the disk has no room.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "platform/platform_error.h"
#include "unit/libav/faulty_disk.h"
#include "unit/libav/movie_reader.h"
#include "unit/libav/movie_recording.h"

namespace quorvane::platform::libav {
namespace {

using testing::Contains;
using testing::Not;

// Pictures that no encoder can make small.
SampleBufferPtr noise(std::chrono::nanoseconds time, std::minstd_rand& random) {
    auto sample = std::make_shared<PictureSample>(320, 180, sessionBegin + time);
    for (auto& byte : sample->bytes())
        byte = static_cast<std::uint8_t>(random() >> 20U);
    return sample;
}

// Until the predicate holds, at most so long in real time.
template <class Predicate>
bool waitUntil(Predicate predicate, std::chrono::milliseconds patience = 10s) {
    for (auto waited = 0ms; waited < patience; waited += 20ms) {
        if (predicate()) return true;
        std::this_thread::sleep_for(20ms);
    }
    return false;
}

// What is appended while the disk is busy joins the next fragment, and the movie's time runs faster
// here than real time. So a disk that is followed is waited for: no fragment grows much longer than
// it would in a recording.
class DiskFollower {
  public:
    explicit DiskFollower(const Recording& recording)
        : recording_(recording), size_(std::filesystem::file_size(recording.path)) {}
    // Pictures up to this time of the movie have been appended, 50 ms apart.
    void follow(std::chrono::milliseconds time) {
        constexpr auto longerThanAFragment = 600ms;
        if (time - waitedAt_ < longerThanAFragment) return;
        waitedAt_ = time;
        EXPECT_TRUE(waitUntil([&] {
            return std::filesystem::file_size(recording_.path) > size_ ||
                   !recording_.video->append(nothing_);
        }));
        size_ = std::filesystem::file_size(recording_.path);
    }

  private:
    const Recording& recording_;
    std::uintmax_t size_;
    std::chrono::milliseconds waitedAt_{0};
    // Without a time it is ignored, and only a writer that has failed refuses it.
    const SampleBufferPtr nothing_ = std::make_shared<PictureSample>(320, 180, std::nullopt);
};

// What is on the disk when so much of a recording has been written: the first 8 bytes of a fragment
// come when the rest of it is there.
std::vector<std::byte> leftBehind(std::vector<std::byte> content, std::size_t size) {
    std::optional<std::size_t> fragment;
    for (std::size_t at = 0; at < size;) {
        if (std::memcmp(&content[at + 4], "moof", 4) == 0) fragment = at;
        std::size_t length = 0;
        for (std::size_t index = at; index < at + 4; ++index)
            length = length << 8U | std::to_integer<std::size_t>(content[index]);
        at += length;
        if (fragment && at > size)
            std::fill_n(content.begin() + static_cast<std::ptrdiff_t>(*fragment), 8, std::byte{});
    }
    content.resize(size);
    return content;
}

TEST(LibavMovieWriterDisk, HoldsAPlayableMovieAtEveryByte) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 320, 180, 2);
    DiskFollower disk(recording);
    std::minstd_rand random(1);
    for (auto time = 0ms; time < 5000ms; time += 50ms) {
        ASSERT_TRUE(recording.append(noise(time, random)));
        for (std::size_t track : {0U, 1U})
            recording.soundUpTo(track, time, time + 50ms, [](std::int64_t) { return 0.1F; });
        disk.follow(time);
    }
    ASSERT_TRUE(waitUntil([&] { return durationOf(recording.path) > 4.0; }));
    const auto content = fileContent(recording.path);
    recording.finish(5s);

    const auto copy = folder.file("copy.mp4");
    writeFile(copy, content, content.size());
    const auto types = boxTypes(copy);
    EXPECT_EQ(types.at(1), "free");
    EXPECT_THAT(types, Contains("moof"));
    EXPECT_THAT(types, Not(Contains("broken")));
    const auto fragmentBegin = static_cast<std::size_t>(MovieFileOptions{}.reserve) + 100'000;
    double lastLength = 0;
    for (auto size = fragmentBegin; size < content.size();
         size += std::max<std::size_t>(1, (content.size() - fragmentBegin) / 7)) {
        SCOPED_TRACE(size);
        writeFile(copy, leftBehind(content, size), size);
        const auto decoded = outputOf("ffmpeg -v quiet -nostdin -i '" + copy +
                                      "' -map 0:v -f null - -progress - | grep frame= |"
                                      " tail -1; true");
        const auto frames = decoded.size() > 6 ? std::stod(decoded.substr(6)) : 0;
        EXPECT_GE(frames, lastLength);
        lastLength = frames;
    }
    EXPECT_GT(lastLength, 50);
}

TEST(LibavMovieWriterDisk, ShowsTheLastPictureForAsLongAsTheScreenIsStill) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 1);
    ASSERT_TRUE(recording.picture(0s));
    ASSERT_TRUE(recording.picture(100ms));
    for (const auto now : {2s, 5s, 9s}) {
        recording.moveTo(now);
        // A copy taken now plays to within two seconds of now. Sound that may still come is waited
        // for; half a second may wait for the next fragment, as the clock stands still.
        const double seconds = std::chrono::duration<double>(now).count();
        EXPECT_TRUE(waitUntil([&] {
            return trackDuration(recording.path, 0) >= seconds - 0.6 &&
                   trackDuration(recording.path, 1) >= seconds - 5.6;
        })) << trackDuration(recording.path, 0)
            << " " << trackDuration(recording.path, 1);
    }
    // What was promised to last is cut short by the next picture.
    ASSERT_TRUE(recording.picture(9500ms));
    ASSERT_TRUE(recording.picture(9600ms));
    recording.finish(10s);
    EXPECT_EQ(pictureTimes(recording.path), (std::vector<std::int64_t>{0, 9000, 855000, 864000}));
    EXPECT_NEAR(durationOf(recording.path), 10, 0.0005);
}

// Limits how large a file may become, as a full disk does, until it goes.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before_), 0);
        auto limit = before_;
        limit.rlim_cur = bytes;
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        action_ = std::signal(SIGXFSZ, SIG_IGN);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        (void)std::signal(SIGXFSZ, action_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

  private:
    rlimit before_{};
    void (*action_)(int) = nullptr;
};

// Holds every flush up until it is released.
class StalledDisk {
  public:
    StalledDisk() {
        beforeEachFlush([this] {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return released_; });
        });
    }
    ~StalledDisk() {
        release();
        beforeEachFlush(nullptr);
    }
    StalledDisk(const StalledDisk&) = delete;
    StalledDisk& operator=(const StalledDisk&) = delete;
    void release() {
        const std::lock_guard lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool released_ = false;
};

TEST(LibavMovieWriterDisk, WritesASecondAtATimeAfterAStall) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 320, 180, 1);
    StalledDisk disk;
    std::minstd_rand random(1);
    for (auto time = 0ms; time < 10s; time += 50ms) {
        ASSERT_TRUE(recording.append(noise(time, random)));
        recording.soundUpTo(0, time, time + 50ms, [](std::int64_t) { return 0.1F; });
    }
    disk.release();
    ASSERT_TRUE(waitUntil([&] { return durationOf(recording.path) > 9.0; }));
    EXPECT_GE(std::ranges::count(boxTypes(recording.path), "moof"), 8);
    recording.finish(10s);
    EXPECT_EQ(recording.lastStatus, MovieWriterStatus::completed);
    EXPECT_NEAR(durationOf(recording.path), 10, 0.001);
    EXPECT_EQ(pictureTimes(recording.path).size(), 200U);
}

// Each flush costs the same, whatever it flushes: with one a second the disk would never catch up.
TEST(LibavMovieWriterDisk, WritesMoreAtATimeWhereAFlushIsSlow) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 320, 180, 1);
    {
        StalledDisk disk;
        std::weak_ptr<const SampleBuffer> last;
        for (auto time = 0ms; time < 20s; time += 500ms) {
            ASSERT_TRUE(recording.picture(time));
            const auto sound = floatSound(sessionBegin + time, 24'000, [](auto) { return 0.1F; });
            last = sound;
            ASSERT_TRUE(recording.sound(0, sound));
        }
        // All of it waits for the disk, but for what is in the encoders.
        ASSERT_TRUE(waitUntil([&] { return last.expired(); }));
        disk.release();
        beforeEachFlush([&] { recording.clock.set(recording.clock.hostTime() + 500ms); });
        ASSERT_TRUE(waitUntil([&] { return durationOf(recording.path) > 19.0; }));
    }
    beforeEachFlush(nullptr);
    EXPECT_LE(std::ranges::count(boxTypes(recording.path), "moof"), 12);  // and not 20
    recording.finish(100s);
    EXPECT_EQ(recording.lastStatus, MovieWriterStatus::completed);
}

TEST(LibavMovieWriterDisk, KeepsTheLastPictureOfAStall) {
    const TestFolder folder;
    // Some pictures of noise are more than may wait for the disk.
    Recording recording(folder.file("movie.mp4"), 320, 180, 0, {.backlog = 300'000});
    StalledDisk disk;
    std::minstd_rand random(1);
    auto time = 0ms;
    std::vector<std::weak_ptr<const SampleBuffer>> given;
    for (; recording.video->isReadyForMoreMediaData() && time < 20s; time += 50ms) {
        recording.moveTo(time);
        const auto sample = noise(time, random);
        given.emplace_back(sample);
        ASSERT_TRUE(recording.video->append(sample));
        // The encoder takes it, if the disk lets it.
        waitUntil([&] { return recording.video->isReadyForMoreMediaData(); }, 200ms);
    }
    ASSERT_LT(time, 20s);
    // It refuses one only when it holds all that a capture stream has, which then waits with what
    // is on the screen.
    EXPECT_GE(std::ranges::count_if(given, [](const auto& each) { return !each.expired(); }), 6);
    disk.release();
    ASSERT_TRUE(recording.waitFor(*recording.video));
    recording.finish(time);
    const auto times = pictureTimes(recording.path);
    EXPECT_EQ(times.size(), static_cast<std::size_t>(time / 50ms));
}

TEST(LibavMovieWriterDisk, KeepsWhatWasWrittenWhenTheDiskIsFull) {
    const TestFolder folder;
    const auto path = folder.file("movie.mp4");
    double appended = 0;
    {
        const FileSizeLimit limit((4 << 20) + 1'200'000);
        Recording recording(path, 320, 180, 1);
        ASSERT_TRUE(recording.started);
        DiskFollower disk(recording);
        std::minstd_rand random(1);
        for (auto time = 0ms; time < 20s && recording.append(noise(time, random)); time += 50ms) {
            appended = std::chrono::duration<double>(time).count();
            if (recording.writer->status() == MovieWriterStatus::writing)
                (void)recording.audio[0]->append(
                    floatSound(sessionBegin + time, 2400, [](std::int64_t) { return 0.1F; }));
            disk.follow(time);
        }
        EXPECT_EQ(recording.writer->status(), MovieWriterStatus::failed);
        EXPECT_LT(appended, 15);
        EXPECT_FALSE(recording.video->isReadyForMoreMediaData());
        EXPECT_FALSE(recording.audio[0]->isReadyForMoreMediaData());
        EXPECT_FALSE(recording.video->append(noise(20s, random)));
        try {
            std::rethrow_exception(recording.writer->error());
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.domain(), "POSIX");
            EXPECT_EQ(error.code(), EFBIG);
            EXPECT_EQ(error.description(), "Could not write " + path + ": File too large");
        }
        EXPECT_EQ(recording.finishWriting(), 1);
        EXPECT_EQ(recording.lastStatus, MovieWriterStatus::failed);
    }
    // It has even got its index.
    EXPECT_EQ(boxTypes(path), (std::vector<std::string>{"ftyp", "moov", "free", "mdat"}));
    const auto shown = static_cast<double>(pictures(path, 320, 180).size()) / 20;
    EXPECT_GT(shown, 1);
    EXPECT_GT(shown, appended - 2);
    EXPECT_NEAR(durationOf(path), shown, 1);
}

TEST(LibavMovieWriterDisk, LeavesNoFileWhenThereIsNoRoomToBegin) {
    const TestFolder folder;
    const FileSizeLimit limit(1 << 20);
    const Recording recording(folder.file("movie.mp4"), 64, 48, 1);
    EXPECT_FALSE(recording.started);
    EXPECT_EQ(recording.writer->status(), MovieWriterStatus::failed);
    EXPECT_NE(recording.writer->error(), nullptr);
    EXPECT_EQ(folder.count(), 0U);
}

TEST(LibavMovieWriterDisk, ReportsAFolderThatDoesNotExist) {
    const TestFolder folder;
    const Recording recording(folder.file("missing/movie.mp4"), 64, 48, 1);
    EXPECT_FALSE(recording.started);
    try {
        std::rethrow_exception(recording.writer->error());
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.code(), ENOENT);
    }
}

TEST(LibavMovieWriterDisk, FinishesOtherwiseWhenTheIndexOutgrowsItsReserve) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 16, 16, 1, {.reserve = 8192});
    for (int index = 0; index < 3000; ++index)
        ASSERT_TRUE(recording.picture(index * 33ms + index % 3 * 1ms));
    recording.soundUpTo(0, 98000ms, 98500ms, [](std::int64_t) { return 0.1F; });
    recording.finish(100s);
    EXPECT_EQ(recording.lastStatus, MovieWriterStatus::completed);
    EXPECT_EQ(boxTypes(recording.path).at(1), "moov");
    EXPECT_EQ(pictures(recording.path, 16, 16).size(), 3000U);
    EXPECT_NEAR(durationOf(recording.path), 100, 0.0005);
    EXPECT_EQ(folder.count(), 1U);
}

}  // namespace
}  // namespace quorvane::platform::libav
