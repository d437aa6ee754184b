// What the writer makes of pictures and time, judged by ffprobe and decoded pictures.
#include "platform/linux/libav/libav_movie_writer.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/platform_error.h"
#include "unit/libav/movie_reader.h"
#include "unit/libav/movie_recording.h"

namespace quorvane::platform::libav {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(LibavMovieWriter, WritesAnOrdinaryMovieWithItsIndexInFront) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 320, 180, 2);
    for (int index = 0; index < 60; ++index) {
        const auto time = index * 1'000'000'000ns / 30;
        ASSERT_TRUE(recording.picture(time, {static_cast<std::uint8_t>(20 + index * 3), 90, 200}));
        const auto from = std::chrono::milliseconds(index * 10 / 3 * 10);
        const auto to = std::chrono::milliseconds((index + 1) * 10 / 3 * 10);
        for (std::size_t track : {0U, 1U})
            recording.soundUpTo(track, from, to, [](std::int64_t) { return 0.1F; });
    }
    EXPECT_EQ(recording.finish(2s), 1);
    EXPECT_EQ(recording.lastStatus, MovieWriterStatus::completed);

    const auto& path = recording.path;
    EXPECT_THAT(boxTypes(path), ElementsAre("ftyp", "moov", "free", "mdat"));
    EXPECT_EQ(probe(path,
                    "stream=codec_name,profile,width,height,pix_fmt,color_range,color_space,"
                    "color_transfer,color_primaries,has_b_frames",
                    "v"),
              "h264,High,320,180,0,yuv420p,tv,bt709,bt709,bt709\n");
    EXPECT_EQ(probe(path, "stream=codec_name,profile,sample_rate,channels", "a"),
              "aac,LC,48000,2\naac,LC,48000,2\n");
    EXPECT_EQ(probe(path, "stream=index,codec_type"), "0,video\n1,audio\n2,audio\n");
    EXPECT_NEAR(durationOf(path), 2, 0.0005);
    EXPECT_EQ(probe(path, "format_tags=major_brand"), "isom\n");
    const auto rate = std::stoi(probe(path, "stream=bit_rate", "1"));
    EXPECT_LT(rate, 220000);
    EXPECT_EQ(folder.count(), 1U);
    std::vector<std::int64_t> times;
    for (int index = 0; index < 60; ++index)
        times.push_back(index * 3000);
    EXPECT_EQ(pictureTimes(path), times);
}

TEST(LibavMovieWriter, KeepsColoursAndTheTimesOfCapture) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 0);
    const std::vector<std::pair<std::chrono::nanoseconds, Colour>> captured = {
        {0ns, {16, 128, 128}},
        {16'700'000ns, {235, 128, 128}},
        {500'000'000ns, {81, 90, 240}},
        {500'020'000ns, {145, 54, 34}},
        {2'345'678'901ns, {41, 240, 110}}};
    for (const auto& [time, colour] : captured)
        ASSERT_TRUE(recording.picture(time, colour));
    recording.finish(2500ms);
    EXPECT_EQ(pictureTimes(recording.path),
              (std::vector<std::int64_t>{0, 1503, 45000, 45002, 211111}));
    const auto decoded = pictures(recording.path, 64, 48);
    ASSERT_EQ(decoded.size(), captured.size());
    for (std::size_t index = 0; index < decoded.size(); ++index) {
        SCOPED_TRACE(index);
        const auto& colour = captured[index].second;
        const std::uint8_t expected[] = {colour.y, colour.u, colour.v};
        for (std::size_t byte = 0; byte < decoded[index].size(); ++byte) {
            const std::size_t plane = byte < 64 * 48 ? 0 : byte < 64 * 48 * 5 / 4 ? 1 : 2;
            ASSERT_NEAR(decoded[index][byte], expected[plane], 2) << "byte " << byte;
        }
    }
}

TEST(LibavMovieWriter, SignalsAVariableFrameRate) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 0);
    ASSERT_TRUE(recording.picture(0s));
    recording.finish(1s);
    EXPECT_EQ(outputOf("ffmpeg -v trace -nostdin -i '" + recording.path +
                       "' -map 0:v -c copy -bsf:v trace_headers -f null - 2>&1 |"
                       " grep -c 'fixed_frame_rate_flag.*= 0'"),
              "1\n");
}

TEST(LibavMovieWriter, SetsAKeyframeEveryTwoSeconds) {
    struct Row {
        const char* name;
        std::chrono::nanoseconds interval;
        int pictures;
    };
    const Row rows[] = {
        {"60 a second", 16'666'667ns, 300},
        {"24 a second", 41'666'667ns, 120},
        {"a little less than one in two seconds", 1900ms, 5},
        {"slower than keyframes are due", 2500ms, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TestFolder folder;
        Recording recording(folder.file("movie.mp4"), 64, 48, 0);
        for (int index = 0; index < row.pictures; ++index)
            ASSERT_TRUE(recording.picture(index * row.interval,
                                          {static_cast<std::uint8_t>(50 + index % 100), 128, 128}));
        recording.finish(row.pictures * row.interval);
        std::istringstream lines(probe(recording.path, "packet=pts,flags", "v"));
        std::int64_t lastKey = -1;
        for (std::string line; std::getline(lines, line);) {
            const auto time = std::stoll(line);
            const bool isKey = line.find(",K") != std::string::npos;
            if (lastKey < 0) {
                EXPECT_TRUE(isKey);
            }
            if (isKey) {
                // Where two pictures are further apart than that, each is a keyframe.
                EXPECT_LE(time - lastKey,
                          std::max<std::int64_t>(180000, row.interval.count() * 9 / 100000 + 1));
                lastKey = time;
            }
            EXPECT_LT(time - lastKey, 180000);
        }
    }
}

TEST(LibavMovieWriter, LetsTheLastPictureLastToTheEnd) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 1);
    ASSERT_TRUE(recording.picture(0s));
    recording.finish(7500ms);
    EXPECT_EQ(pictureTimes(recording.path), (std::vector<std::int64_t>{0}));
    EXPECT_NEAR(durationOf(recording.path), 7.5, 0.0005);
    EXPECT_NEAR(trackDuration(recording.path, 0), 7.5, 0.0005);
    EXPECT_NEAR(trackDuration(recording.path, 1), 7.5, 0.0005);
}

TEST(LibavMovieWriter, EncodesEverySize) {
    struct Row {
        const char* name;
        int width;
        int height;
        int pictures;
    };
    const Row rows[] = {{"smallest", 8, 8, 20},
                        {"narrow", 8, 720, 5},
                        {"flat", 1280, 10, 5},
                        {"not in whole macroblocks", 98, 54, 5},
                        {"largest", 4096, 2304, 2}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TestFolder folder;
        Recording recording(folder.file("movie.mp4"), row.width, row.height, 0);
        for (int index = 0; index < row.pictures; ++index)
            ASSERT_TRUE(recording.picture(index * 40ms, {100, 60, 200}));
        recording.finish(1s);
        EXPECT_EQ(recording.lastStatus, MovieWriterStatus::completed);
        const auto decoded = pictures(recording.path, row.width, row.height);
        ASSERT_EQ(decoded.size(), static_cast<std::size_t>(row.pictures));
        EXPECT_NEAR(decoded.back().front(), 100, 2);
        EXPECT_NEAR(decoded.back().back(), 200, 2);
    }
}

TEST(LibavMovieWriter, HoldsTheBitRateAtEveryFrameRate) {
    struct Row {
        const char* name;
        std::chrono::nanoseconds interval;
        double least;  // of the average rate that was asked for
    };
    // The pictures are noise, which takes every bit that it is given.
    const Row rows[] = {{"as expected", 33'333'333ns, 0.85}, {"half of it", 66'666'667ns, 0.75}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TestFolder folder;
        Recording recording(folder.file("movie.mp4"), 320, 180, 0);
        std::minstd_rand random(1);
        for (auto time = 0ns; time < 5s; time += row.interval) {
            const auto sample = std::make_shared<PictureSample>(320, 180, sessionBegin + time);
            for (auto& byte : sample->bytes())
                byte = static_cast<std::uint8_t>(random() >> 20U);
            ASSERT_TRUE(recording.append(sample));
        }
        recording.finish(5s);
        const auto rate = std::stod(probe(recording.path, "stream=bit_rate", "v"));
        EXPECT_GT(rate, 2e6 * row.least);
        EXPECT_LT(rate, 2e6 * 1.2);
    }
}

TEST(LibavMovieWriter, RefusesWhatItCannotEncode) {
    const TestFolder folder;
    const ManualClock clock;
    LibavMovieWriterFactory factory(clock);
    const auto writer = factory.makeMovieWriter(folder.file("movie.mp4"));
    EXPECT_EQ(writer->addVideoInput(pictureSettings(0, 0)), nullptr);
    EXPECT_EQ(writer->addVideoInput(pictureSettings(33, 32)), nullptr);
    EXPECT_EQ(writer->addVideoInput(pictureSettings(32, 33)), nullptr);
    EXPECT_EQ(writer->addAudioInput({.sampleRate = 12345, .channels = 2, .bitRate = 192000}),
              nullptr);
    EXPECT_EQ(writer->addAudioInput({}), nullptr);
    EXPECT_NE(writer->addVideoInput(pictureSettings(32, 32)), nullptr);
    EXPECT_EQ(writer->addVideoInput(pictureSettings(32, 32)), nullptr);
    EXPECT_EQ(writer->status(), MovieWriterStatus::unknown);
    EXPECT_EQ(folder.count(), 0U);
}

TEST(LibavMovieWriter, TakesAsManyPicturesAsACaptureStreamHas) {
    const TestFolder folder;
    std::vector<SampleBufferPtr> samples;
    for (int index = 0; index < 50; ++index)
        samples.push_back(std::make_shared<PictureSample>(1280, 720, sessionBegin + index * 1ms,
                                                          Colour{16, 128, 128}));
    Recording recording(folder.file("movie.mp4"), 1280, 720, 0);
    EXPECT_TRUE(recording.video->isReadyForMoreMediaData());
    // Far faster than they are encoded: the queue fills, and says so.
    std::size_t appended = 0;
    while (appended < samples.size() && recording.video->isReadyForMoreMediaData())
        EXPECT_TRUE(recording.video->append(samples[appended++]));
    EXPECT_GE(appended, 6U);
    EXPECT_LT(appended, samples.size());
    recording.finish(2s);
    EXPECT_EQ(pictureTimes(recording.path).size(), appended);
}

TEST(LibavMovieWriter, GivesPicturesBackWhenTheNextIsEncoded) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 0);
    auto sample = std::make_shared<PictureSample>(64, 48, sessionBegin, Colour{});
    const std::weak_ptr<PictureSample> given = sample;
    ASSERT_TRUE(recording.append(sample));
    sample.reset();
    ASSERT_TRUE(recording.picture(100ms));
    for (int wait = 0; !given.expired() && wait < 20000; ++wait)
        std::this_thread::sleep_for(1ms);
    EXPECT_TRUE(given.expired());
    recording.finish(1s);
}

TEST(LibavMovieWriter, RepeatsAPictureThatStandsForAnHour) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 0);
    ASSERT_TRUE(recording.picture(0s, {.y = 200}));
    recording.moveTo(3600s);
    for (int tries = 0; tries < 100 && pictureTimes(recording.path).size() < 2; ++tries)
        std::this_thread::sleep_for(100ms);
    recording.finish(4000s);
    EXPECT_THAT(pictureTimes(recording.path), ElementsAre(0, 3600 * 90000));
    EXPECT_NEAR(durationOf(recording.path), 4000, 0.001);
}

TEST(LibavMovieWriter, IsNotMadeWhereSomethingIsAlready) {
    const TestFolder folder;
    const auto path = folder.file("movie.mp4");
    std::filesystem::create_symlink("nowhere", path);
    const ManualClock clock;
    try {
        LibavMovieWriterFactory(clock).makeMovieWriter(path);
        FAIL();
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), "POSIX");
        EXPECT_EQ(error.code(), EEXIST);
        EXPECT_EQ(error.description(), "Could not create " + path + ": File exists");
    }
    EXPECT_TRUE(std::filesystem::is_symlink(path));
}

TEST(LibavMovieWriter, RefusesAFileThatExistsAndTouchesNothing) {
    const TestFolder folder;
    const auto path = folder.file("movie.mp4");
    writeFile(path, {std::byte{42}}, 1);
    Recording recording(path, 64, 48, 1);
    EXPECT_FALSE(recording.started);
    EXPECT_EQ(recording.writer->status(), MovieWriterStatus::failed);
    EXPECT_FALSE(recording.video->isReadyForMoreMediaData());
    EXPECT_FALSE(
        recording.video->append(std::make_shared<PictureSample>(64, 48, sessionBegin, Colour{})));
    try {
        std::rethrow_exception(recording.writer->error());
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), "POSIX");
        EXPECT_EQ(error.code(), EEXIST);
        EXPECT_EQ(error.description(), "Could not create " + path + ": File exists");
    }
    bool completed = false;
    recording.writer->finishWriting([&] { completed = true; });
    EXPECT_TRUE(completed);
    recording.writer.reset();
    EXPECT_EQ(fileContent(path), std::vector<std::byte>{std::byte{42}});
}

TEST(LibavMovieWriter, LeavesNoFileWhenItIsCancelled) {
    const TestFolder folder;
    {
        const ManualClock clock;
        LibavMovieWriter writer(folder.file("unstarted.mp4"), clock);
        ASSERT_NE(writer.addVideoInput(pictureSettings(64, 48)), nullptr);
        writer.cancelWriting();
        EXPECT_EQ(writer.status(), MovieWriterStatus::cancelled);
        EXPECT_FALSE(writer.startWriting());
    }
    EXPECT_EQ(folder.count(), 0U);
    {
        Recording recording(folder.file("started.mp4"), 64, 48, 1);
        ASSERT_TRUE(recording.picture(0s));
        recording.writer->cancelWriting();
        EXPECT_EQ(recording.writer->status(), MovieWriterStatus::cancelled);
        EXPECT_FALSE(recording.video->append(
            std::make_shared<PictureSample>(64, 48, sessionBegin + 1s, Colour{})));
    }
    EXPECT_EQ(folder.count(), 0U);
}

TEST(LibavMovieWriter, FinishesTheMovieWhenItIsDropped) {
    const TestFolder folder;
    const auto path = folder.file("movie.mp4");
    {
        Recording recording(path, 64, 48, 1);
        for (int index = 0; index < 10; ++index)
            ASSERT_TRUE(recording.picture(index * 100ms));
        recording.moveTo(1s);
    }
    EXPECT_EQ(boxTypes(path).at(1), "moov");
    EXPECT_EQ(pictureTimes(path).size(), 10U);
    EXPECT_NEAR(durationOf(path), 1, 0.0005);
}

TEST(LibavMovieWriter, MayGoInItsOwnCompletion) {
    const TestFolder folder;
    const auto path = folder.file("movie.mp4");
    Recording recording(path, 64, 48, 1);
    ASSERT_TRUE(recording.picture(0s));
    recording.moveTo(1s);
    std::promise<void> gone;
    recording.writer->finishWriting([&] {
        recording.writer.reset();
        gone.set_value();
    });
    ASSERT_EQ(gone.get_future().wait_for(30s), std::future_status::ready);
    EXPECT_NEAR(durationOf(path), 1, 0.0005);
}

TEST(LibavMovieWriter, KeepsWhatWasEncodedWhenAPictureCannotBe) {
    const TestFolder folder;
    Recording recording(folder.file("movie.mp4"), 64, 48, 1);
    for (int index = 0; index < 10; ++index)
        ASSERT_TRUE(recording.picture(index * 100ms));
    EXPECT_TRUE(
        recording.append(std::make_shared<PictureSample>(32, 32, sessionBegin + 1s, Colour{})));
    // The failure shows where the recorder looks: at an append that is refused.
    bool refused = false;
    for (int tries = 0; !refused && tries < 2000; ++tries) {
        EXPECT_EQ(recording.writer->status(), MovieWriterStatus::writing);
        refused =
            !recording.append(std::make_shared<PictureSample>(32, 32, sessionBegin + 2s, Colour{}));
        std::this_thread::sleep_for(1ms);
    }
    ASSERT_TRUE(refused);
    ASSERT_EQ(recording.writer->status(), MovieWriterStatus::failed);
    try {
        std::rethrow_exception(recording.writer->error());
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), "libav");
        EXPECT_THAT(error.description(), HasSubstr("another size"));
    }
    recording.writer.reset();
    EXPECT_EQ(pictureTimes(recording.path).size(), 10U);
}

}  // namespace
}  // namespace quorvane::platform::libav
