#include "platform/linux/libav/libav_export_session.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "platform/linux/libav/libav_media_asset.h"
#include "platform/platform_error.h"
#include "unit/libav/exported_movie.h"
#include "unit/libav/movie_reader.h"

namespace quorvane::platform::libav {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

const std::string aac = " -c:a aac -b:a 192k ";
// Inputs stand before the options of the output.
const std::string pictureInput = "-f lavfi -i testsrc2=s=160x120:r=30:d=1 ";
const std::string pictureOptions = " -c:v libx264 -preset ultrafast -g 15 ";

class LibavExport : public testing::Test {
  protected:
    // A movie with a picture and two tones, 440 Hz and 1 kHz.
    std::string ordinaryMovie(double seconds = 3) const {
        const auto length = std::to_string(seconds);
        makeMovie(
            "-f lavfi -i testsrc2=s=160x120:r=30 -f lavfi -i sine=440:r=48000 -f lavfi -i "
            "sine=1000:r=48000 -map 0 -map 1 -map 2 -t " +
                length + pictureOptions + aac + "-ac 2 -movflags +faststart",
            input);
        return input;
    }
    // Two tones, made quickly.
    void longMovie(std::chrono::seconds length) const {
        makeMovie(
            "-f lavfi -i sine=440:r=8000 -f lavfi -i sine=1000:r=8000 -map 0 -map 1 "
            "-c:a pcm_u8 -f mov -t " +
                std::to_string(length.count()),
            input);
    }

    ExportFolder folder;
    const std::string input = folder / "in.mp4";
    const std::string output = folder / "out.mp4";
};

TEST_F(LibavExport, ThePictureIsCarriedOverBitForBit) {
    struct Row {
        const char* name;
        std::string options;
    };
    const Row rows[] = {
        {"as it is recorded", ""},
        {"with pictures out of order", "-bf 2 -preset veryfast "},
        {"with colour tags",
         "-color_primaries bt709 -color_trc bt709 -colorspace bt709 -color_range tv "},
        {"with oblong pixels", "-aspect 2:1 "},
        {"with a variable rate", "-vf select='not(mod(n\\,3)*mod(n\\,7))' -fps_mode vfr "},
        {"in its own ticks", "-video_track_timescale 90000 "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        makeMovie(pictureInput + click(1000, 48000, 1) + " " + click(2000, 48000, 1) +
                      " -map 0 -map 1 -map 2" + pictureOptions + row.options + aac,
                  input);
        ASSERT_EQ(exportMovie(input, output).status, ExportStatus::completed);
        const auto packets = picturePackets(input);
        EXPECT_FALSE(packets.empty());
        EXPECT_EQ(picturePackets(output), packets);
        const auto entries =
            "stream=codec_name,profile,width,height,sample_aspect_ratio,time_base,color_range,"
            "color_space,color_transfer,color_primaries,extradata_size,duration,start_time";
        EXPECT_EQ(probe(output, entries, "v"), probe(input, entries, "v"));
        EXPECT_EQ(probe(output, "stream=codec_type"), "video\naudio\n");
        std::filesystem::remove(output);
    }
}

TEST_F(LibavExport, TheRotationSurvives) {
    for (const int degrees : {90, 180, 270}) {
        SCOPED_TRACE(degrees);
        const auto upright = folder / "upright.mp4";
        makeMovie(pictureInput + click(1000, 48000, 1) + " " + click(2000, 48000, 1) +
                      " -map 0 -map 1 -map 2" + pictureOptions + aac,
                  upright);
        makeMovie("-i " + quoted(upright) +
                      " -map 0 -c copy -metadata:s:v:0 rotate=" + std::to_string(degrees),
                  input);
        ASSERT_EQ(exportMovie(input, output).status, ExportStatus::completed);
        const auto rotation = probe(input, "stream_side_data=rotation,displaymatrix", "v");
        EXPECT_NE(rotation.find_first_not_of(" \n,"), std::string::npos);
        EXPECT_EQ(probe(output, "stream_side_data=rotation,displaymatrix", "v"), rotation);
        std::filesystem::remove(output);
    }
}

TEST_F(LibavExport, AllSoundBecomesOneTrackWithEveryClickAtItsSample) {
    struct Row {
        const char* name;
        std::string inputs;  // ffmpeg's, of the sound
        int tracks;
        std::vector<int> clicks;  // sample frames at 48 kHz
        std::string options;
    };
    const Row rows[] = {
        {"one track", click(30000), 1, {30000}, "-ac 2"},
        {"two tracks", click(30000) + " " + click(61234), 2, {30000, 61234}, "-ac 2"},
        {"five tracks",
         click(12345) + " " + click(30000) + " " + click(61234) + " " + click(90001) + " " +
             click(120000),
         5,
         {12345, 30000, 61234, 90001, 120000},
         "-ac 2"},
        {"one and two channels",
         click(30000) + " " + click(61234),
         2,
         {30000, 61234},
         "-ac:a:0 1 -ac:a:1 2"},
        {"other rates",
         click(22050, 44100) + " " + click(16000, 32000),
         2,
         {24000, 24000},
         "-ar:a:0 44100 -ar:a:1 32000 -ac 2"},
        {"tracks that begin later",
         "-itsoffset 0.5 " + click(30000) + " -itsoffset 1.25 " + click(20000),
         2,
         {54000, 80000},
         "-ac 2"},
        {"a track that begins when the other has ended",
         click(1000, 48000, 0.5) + " -itsoffset 5.5 " + click(20000, 48000, 1),
         2,
         {1000, 284000},
         "-ac 2"},
        {"not compressed",
         click(30000) + " " + click(61234),
         2,
         {30000, 61234},
         "-c:a pcm_s16le -f mov"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string maps = " -map 0";
        for (int track = 1; track <= row.tracks; ++track)
            maps += " -map " + std::to_string(track);
        makeMovie(pictureInput + row.inputs + maps + pictureOptions + aac + row.options, input);
        ASSERT_EQ(exportMovie(input, output).status, ExportStatus::completed);
        EXPECT_EQ(picturePackets(output), picturePackets(input));
        EXPECT_EQ(probe(output, "stream=codec_name,profile,sample_rate,channels", "a"),
                  "aac,LC,48000,2\n");
        const auto before = expectedMix(input, row.tracks);
        const auto after = stereoSound(output);
        for (const int click : row.clicks) {
            // Where a track begins, the file says in milliseconds only.
            const int there = peak(before, click - 900, click + 900);
            EXPECT_NEAR(there, click, row.name == std::string("two tracks") ? 0 : 48);
            EXPECT_EQ(peak(after, click - 900, click + 900), there);
        }
        EXPECT_NEAR(static_cast<double>(after.size()), static_cast<double>(before.size()), 2048);
        std::filesystem::remove(output);
    }
}

TEST_F(LibavExport, TracksAddUpAtUnitVolumeUpToFullScale) {
    struct Row {
        const char* name;
        std::string first, second;  // sound, as expressions
        std::string layout;         // of the first
        double tolerance;           // AAC takes from a tone that is cut off
    };
    const Row rows[] = {
        {"below full scale", "0.4*sin(2*PI*440*t)", "0.3*sin(2*PI*1000*t)", "2", 0.01},
        {"beyond full scale", "0.9*sin(2*PI*440*t)", "0.9*sin(2*PI*440*t)", "2", 0.1},
        {"one channel sounds on both sides", "0.4*sin(2*PI*440*t)", "0.3*sin(2*PI*1000*t)", "1",
         0.01},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        makeMovie("-f lavfi -i \"aevalsrc='" + row.first +
                      "':s=48000:d=2\" -f lavfi -i \"aevalsrc='" + row.second + "|" + row.second +
                      "':s=48000:d=2\" -map 0 -map 1" + aac + "-ac:a:1 2 -ac:a:0 " + row.layout,
                  input);
        const auto result = exportMovie(input, output);
        ASSERT_EQ(result.status, ExportStatus::completed) << result.errorText;
        const auto mix = stereoSound(output);
        std::vector<float> expected;
        const auto first = outputOf("ffmpeg -v error -nostdin -i " + quoted(input) +
                                    " -map 0:a:0 -af pan='stereo|c0=c0|c1=c0' -f f32le -");
        expected.resize(first.size() / sizeof(float));
        std::memcpy(expected.data(), first.data(), first.size());
        const auto second = stereoSound(input, 1);
        for (std::size_t index = 0; index < expected.size(); ++index)
            expected[index] = std::clamp(expected[index] + second[index], -1.0F, 1.0F);
        EXPECT_LT(rmsError(mix, expected, 4800, 90000), row.tolerance);
        EXPECT_NEAR(rms(mix, 4800, 90000) / rms(expected, 4800, 90000), 1, row.tolerance);
        EXPECT_LT(std::abs(mix[2 * static_cast<std::size_t>(peak(mix, 4800, 90000))]), 1.1);
        std::filesystem::remove(output);
    }
}

TEST_F(LibavExport, ATrackThatEndsLeavesTheOthersAsLoudAsTheyWere) {
    makeMovie(
        "-f lavfi -i \"aevalsrc='0.5*sin(2*PI*440*t)':s=48000:d=6\" -f lavfi -i "
        "\"aevalsrc='0.3*sin(2*PI*1000*t)':s=48000:d=1\" -map 0 -map 1 -ac 2" +
            aac,
        input);
    ASSERT_EQ(exportMovie(input, output).status, ExportStatus::completed);
    const auto mix = stereoSound(output);
    const auto alone = stereoSound(input, 0);
    for (int second = 1; second < 5; ++second) {
        const int from = second * 48000 + 4800;
        EXPECT_NEAR(rms(mix, from, from + 38400) / rms(alone, from, from + 38400), 1, 0.01);
    }
}

TEST_F(LibavExport, WhereSoundEncodedApartMeetsNothingIsHeard) {
    // Long enough for two parts, with something happening everywhere.
    makeMovie(
        "-f lavfi -i \"aevalsrc='0.2*(sin(2*PI*220*t)+sin(2*PI*(330+20*t)*t))*exp(-4*mod(t,"
        "0.5))+0.1*random(0)*exp(-30*mod(t,0.23))':s=48000:d=14\" -f lavfi -i "
        "\"aevalsrc='0.2*sin(2*PI*1000*t)':s=48000:d=14\" -map 0 -map 1 -ac 2" +
            aac,
        input);
    ASSERT_EQ(exportMovie(input, output).status, ExportStatus::completed);
    const auto mix = stereoSound(output);
    const auto expected = expectedMix(input, 2);
    // The error everywhere, in stretches as long as two packets.
    double worst = 0;
    double worstAtSeam = 0;
    constexpr int part = 504 * 1024;
    for (int from = 48000; from + 2048 < 13 * 48000; from += 1024) {
        const auto error = rmsError(mix, expected, from, from + 2048);
        const int place = from % part;
        auto& highest = place > part - 14 * 1024 || place < 2048 ? worstAtSeam : worst;
        highest = std::max(highest, error);
    }
    EXPECT_LT(worst, 0.05);
    EXPECT_GT(worstAtSeam, 0);
    EXPECT_LT(worstAtSeam, worst * 1.1);
}

TEST_F(LibavExport, TheIndexStandsInFrontAndNothingIsLeftOpen) {
    ordinaryMovie();
    ASSERT_EQ(exportMovie(input, output).status, ExportStatus::completed);
    const auto boxes = boxTypes(output);
    ASSERT_GE(boxes.size(), 3U);
    EXPECT_EQ(boxes[0], "ftyp");
    EXPECT_EQ(boxes[1], "moov");
    EXPECT_EQ(boxes.back(), "mdat");
    EXPECT_EQ(outputOf("ffmpeg -v error -nostdin -i " + quoted(output) + " -map 0 -f null - 2>&1"),
              "");
    EXPECT_NEAR(durationOf(output), durationOf(input), 0.025);
}

TEST_F(LibavExport, AMovieInFragmentsIsExportedToo) {
    makeMovie(pictureInput + click(30000) + " " + click(61234) +
                  " -map 0 -map 1 -map 2 -ac 2 -movflags frag_keyframe+delay_moov" +
                  pictureOptions + aac,
              input);
    ASSERT_EQ(exportMovie(input, output).status, ExportStatus::completed);
    const auto mix = stereoSound(output);
    EXPECT_EQ(peak(mix, 28000, 32000), 30000);
    EXPECT_EQ(peak(mix, 59000, 63000), 61234);
    EXPECT_EQ(boxTypes(output)[1], "moov");
    EXPECT_EQ(probe(output, "stream=nb_frames", "v"), "30\n");
}

TEST_F(LibavExport, ATrackThatAppearsWhileTheFileIsReadIsLeftOut) {
    const auto two = folder / "two.mpg";
    const auto three = folder / "three.mpg";
    const auto tones = [](int count, const std::string& seconds) {
        std::string inputs;
        std::string maps;
        for (int tone = 0; tone < count; ++tone) {
            inputs += "-f lavfi -i sine=" + std::to_string(440 + 220 * tone) + ":r=48000 ";
            maps += "-map " + std::to_string(tone) + " ";
        }
        return inputs + maps + "-t " + seconds + " -ac 2 -c:a mp2 -b:a 384k -f mpeg";
    };
    makeMovie(tones(2, "20"), two);
    // Its messages are about the rate of a disc.
    makeMovie("-v quiet " + tones(3, "2"), three);
    // Parts of this kind of file make a file; in the middle of a long one nobody looks beforehand.
    const auto begin = quoted(two);
    outputOf("cat " + begin + " " + begin + " " + begin + " " + begin + " " + quoted(three) + " " +
             begin + " " + begin + " > " + quoted(input));
    ASSERT_EQ(probe(input, "stream=codec_type"), "audio\naudio\n");
    ASSERT_EQ(exportMovie(input, output).status, ExportStatus::completed);
    EXPECT_EQ(probe(output, "stream=codec_type"), "audio\n");
}

TEST_F(LibavExport, WithoutAPictureTheSoundIsTheMovie) {
    makeMovie(click(30000) + " " + click(61234) + " -map 0 -map 1 -ac 2" + aac, input);
    ASSERT_EQ(exportMovie(input, output).status, ExportStatus::completed);
    EXPECT_EQ(probe(output, "stream=codec_type"), "audio\n");
    EXPECT_EQ(peak(stereoSound(output), 59000, 63000), 61234);
}

TEST_F(LibavExport, WithoutSoundThereIsNothingToExport) {
    makeMovie(pictureInput + pictureOptions, input);
    EXPECT_EQ(makeExport(input, output), nullptr);
}

TEST_F(LibavExport, APictureThatMpeg4CannotHoldIsNotSupported) {
    makeMovie(pictureInput + click(1000) + " -c:v prores -ac 2 -f mov" + aac, input);
    const auto session = makeExport(input, output);
    ASSERT_NE(session, nullptr);
    EXPECT_THAT(session->supportedFileTypes(), testing::IsEmpty());
    ordinaryMovie();
    EXPECT_THAT(makeExport(input, output)->supportedFileTypes(), ElementsAre(FileType::mpeg4));
}

TEST_F(LibavExport, ProgressGrowsFromZeroToOne) {
    longMovie(1min);
    const auto session = makeExport(input, output);
    EXPECT_EQ(session->progress(), 0);
    EXPECT_EQ(session->status(), ExportStatus::unknown);
    float last = 0;
    int steps = 0;
    const auto result = runExport(*session, [&] {
        const auto progress = session->progress();
        EXPECT_GE(progress, last);
        EXPECT_LE(progress, 1);
        steps += progress > last ? 1 : 0;
        last = progress;
    });
    EXPECT_GE(steps, 1);
    EXPECT_EQ(session->progress(), 1);
    EXPECT_EQ(result.status, ExportStatus::completed);
}

TEST_F(LibavExport, ADroppedExportEndsSoon) {
    // Run to its end it would take half a minute on two slow cores, and leave an index anywhere.
    longMovie(10min);
    auto session = makeExport(input, output);
    session->exportAsynchronously([] {});
    std::this_thread::sleep_for(50ms);
    const auto begin = std::chrono::steady_clock::now();
    session.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    EXPECT_THAT(boxTypes(output), testing::Not(testing::Contains("moov")));
}

TEST_F(LibavExport, DamagedSoundIsTheLibrarysError) {
    ordinaryMovie();
    // A stretch of the media, in the middle of the file; sync bytes for the picture are spared by
    // giving the file only sound.
    makeMovie("-i " + quoted(input) + " -map 0:a -c copy -movflags +faststart", folder / "s.mp4");
    const auto damaged = folder / "s.mp4";
    const auto size = static_cast<std::streamoff>(std::filesystem::file_size(damaged));
    std::fstream file(damaged, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(size / 2);
    for (int index = 0; index < 8000; ++index)
        file.put(static_cast<char>(index * 37 % 251));
    file.close();
    const auto result = exportMovie(damaged, output);
    EXPECT_EQ(result.status, ExportStatus::failed);
    EXPECT_EQ(result.errorDomain, "libav");
}

TEST_F(LibavExport, AMovieThatIsCutOffIsAnErrorRatherThanAShorterMovie) {
    ordinaryMovie();
    const auto size = std::filesystem::file_size(input);
    for (const auto part : {size / 2, size - 10}) {
        SCOPED_TRACE(part);
        std::filesystem::resize_file(input, part);
        const auto result = exportMovie(input, output);
        EXPECT_EQ(result.status, ExportStatus::failed);
        EXPECT_EQ(result.errorDomain, "libav");
        std::filesystem::remove(output);
        ordinaryMovie();
    }
}

TEST_F(LibavExport, FilesThatCannotBeOpenedHaveTheSystemsError) {
    LibavMediaAssets assets;
    const auto codeOf = [&](const std::string& path) {
        try {
            assets.openAsset(path);
        } catch (const PlatformError& error) {
            return error.domain() + " " + std::to_string(error.code());
        }
        return std::string("none");
    };
    EXPECT_EQ(codeOf(folder / "missing.mp4"), "POSIX 2");
    std::ofstream(folder / "text.mp4") << "This is no movie.";
    EXPECT_EQ(codeOf(folder / "text.mp4").find("libav "), 0U);
    EXPECT_EQ(codeOf("concat:" + input), "POSIX 2");
    EXPECT_EQ(codeOf(folder / ""), "POSIX 21");
    const auto pipe = folder / "pipe.mp4";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(codeOf(pipe), "POSIX 29") << "nobody may ever write to it";
    EXPECT_EQ(codeOf("/dev/zero"), "POSIX 29");
}

TEST_F(LibavExport, AFileInTheWayIsNotTouched) {
    ordinaryMovie();
    std::ofstream(output) << "precious";
    const auto result = exportMovie(input, output);
    EXPECT_EQ(result.status, ExportStatus::failed);
    EXPECT_EQ(result.errorDomain, "POSIX");
    EXPECT_EQ(result.errorCode, EEXIST);
    EXPECT_EQ(std::filesystem::file_size(output), 8U);
}

TEST_F(LibavExport, AFolderThatIsMissingIsTheSystemsError) {
    ordinaryMovie();
    const auto result = exportMovie(input, folder / "none/out.mp4");
    EXPECT_EQ(result.errorDomain, "POSIX");
    EXPECT_EQ(result.errorCode, ENOENT);
}

// No room: the system's limit on a file's size stands in for a disk.
TEST_F(LibavExport, NoRoomIsTheSystemsError) {
    ordinaryMovie();
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit tight{60'000, before.rlim_max};
    // The signal beside the error is for programs that do not look.
    ASSERT_NE(signal(SIGXFSZ, SIG_IGN), SIG_ERR);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
    const auto result = exportMovie(input, output);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(result.status, ExportStatus::failed);
    EXPECT_EQ(result.errorDomain, "POSIX");
    EXPECT_EQ(result.errorCode, EFBIG);
}

TEST_F(LibavExport, EveryNameIsTakenAsItIs) {
    ordinaryMovie(1);
    for (const char* name : {"with space.mp4", "it's \"quoted\".mp4", "Größe 映画.mp4", "-y.mp4",
                             "no extension", "a.b.c.mp4", "file:x.mp4", "%d.mp4"}) {
        SCOPED_TRACE(name);
        const auto from = folder / name;
        const auto to = folder / ("out " + std::string(name));
        std::filesystem::copy_file(input, from);
        EXPECT_EQ(exportMovie(from, to).status, ExportStatus::completed);
        EXPECT_TRUE(std::filesystem::exists(to));
    }
}

TEST_F(LibavExport, DurationReachesTheEndOfTheLongestTrack) {
    makeMovie(click(100, 48000, 1.5) + " -itsoffset 2 " + click(100, 48000, 0.5) +
                  " -map 0 -map 1 -ac 2 -c:a pcm_s16le -f mov",
              input);
    LibavMediaAssets assets;
    EXPECT_EQ(assets.openAsset(input)->loadDuration(), 2500ms);
}

}  // namespace
}  // namespace quorvane::platform::libav
