#include "platform/linux/libav/libav_sound_reader.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/platform_error.h"
#include "unit/libav/exported_movie.h"
#include "unit/libav/movie_reader.h"

namespace quorvane::platform::libav {
namespace {

std::vector<std::int16_t> readAll(const std::string& path, int rate = 16000,
                                  std::size_t chunk = 1000) {
    LibavSoundReaders readers;
    const auto reader = readers.openSound(path, rate);
    std::vector<std::int16_t> samples;
    std::vector<std::int16_t> part(chunk);
    for (;;) {
        const auto count = reader->read(part);
        samples.insert(samples.end(), part.begin(),
                       part.begin() + static_cast<std::ptrdiff_t>(count));
        if (count < chunk) break;
    }
    EXPECT_EQ(reader->read(part), 0U);
    return samples;
}

std::string errorOf(const std::string& path) {
    try {
        readAll(path);
        return "none";
    } catch (const PlatformError& error) {
        return error.domain();
    }
}

// In seconds, at 16 kHz.
double loudest(const std::vector<std::int16_t>& samples) {
    const auto place = std::max_element(samples.begin(), samples.end(), [](int one, int other) {
        return std::abs(one) < std::abs(other);
    });
    return static_cast<double>(place - samples.begin()) / 16000;
}

// A tenth of a second of noise, loudest in its middle, 2 s after the begin of 4 s.
constexpr const char* burst =
    "-f lavfi -i \"aevalsrc='0.8*sin(2*PI*1000*t)*exp(-((t-2)/0.002)^2)':s=48000:d=4\"";

TEST(LibavSoundReader, PutsSoundWhereItPlays) {
    const ExportFolder folder;
    struct Row {
        const char* name;
        std::string arguments;
        const char* file;
    };
    const std::string sound = burst;
    const Row rows[] = {
        {"WAV", sound, "a.wav"},
        {"WAV at 8 kHz", sound + " -ar 8000", "b.wav"},
        {"WAV in stereo at 44.1 kHz", sound + " -ac 2 -ar 44100", "c.wav"},
        {"WAV in 5.1", sound + " -af pan='5.1|FC=c0'", "d.wav"},
        {"floats", sound + " -c:a pcm_f32le", "e.wav"},
        {"FLAC", sound, "f.flac"},
        {"MP3", sound, "g.mp3"},
        {"AAC in M4A", sound, "h.m4a"},
        {"AAC in an MP4 that is fragmented",
         sound + " -movflags frag_keyframe+delay_moov -frag_duration 500000", "i.mp4"},
        {"AAC behind a picture track",
         "-f lavfi -i testsrc2=s=64x64:r=10:d=4 " + sound + " -c:v libx264 -preset ultrafast",
         "j.mp4"},
        {"Opus in Ogg", sound + " -c:a libopus", "k.ogg"},
        {"Opus in WebM", sound + " -c:a libopus", "l.webm"},
        {"Vorbis in Matroska", sound + " -c:a libvorbis", "m.mkv"},
        {"AC-3 in a transport stream", sound + " -c:a ac3", "n.ts"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto path = folder / row.file;
        makeMovie(row.arguments, path);
        const auto samples = readAll(path);
        EXPECT_NEAR(loudest(samples), 2.0, 0.007);  // AC-3 does not say its delay
        EXPECT_NEAR(static_cast<double>(samples.size()) / 16000, 4.0, 0.06);
    }
}

TEST(LibavSoundReader, TakesTheFirstSoundTrack) {
    const ExportFolder folder;
    const auto path = folder / "two.mp4";
    makeMovie(std::string(burst) + " -f lavfi -i sine=500:d=4 -map 0 -map 1", path);
    EXPECT_NEAR(loudest(readAll(path)), 2.0, 0.003);
}

TEST(LibavSoundReader, GapsAndEditListsKeepTheTime) {
    const ExportFolder folder;
    const auto plain = folder / "plain.m4a";
    makeMovie(burst, plain);
    struct Row {
        const char* name;
        std::string arguments;
        const char* file;
        double place;  // of the burst, seconds
    };
    const std::string again = "-i " + quoted("file:" + plain);
    const std::string longer = "-f lavfi -i testsrc2=s=64x64:r=10:d=70 -itsoffset 60 " + again +
                               " -map 0 -map 1 -c:v libx264 -preset ultrafast -c:a copy";
    const Row rows[] = {
        {"a track that begins a minute late", longer, "late.mp4", 62},
        {"the same in Matroska", longer, "late.mkv", 62},
        {"a cut by an edit list", "-ss 1.5 " + again + " -c copy", "cut.m4a", 0.5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto path = folder / row.file;
        makeMovie(row.arguments, path);
        EXPECT_NEAR(loudest(readAll(path)), row.place, 0.006);
    }
}

TEST(LibavSoundReader, TheSizeOfTheChunksMakesNoDifference) {
    const ExportFolder folder;
    const auto path = folder / "a.mp3";
    makeMovie(burst, path);
    const auto samples = readAll(path, 16000, 1 << 20);
    for (const std::size_t chunk : {1, 7, 4096})
        EXPECT_TRUE(readAll(path, 16000, chunk) == samples) << chunk;
}

TEST(LibavSoundReader, BothSidesAreHeard) {
    const ExportFolder folder;
    for (const char* side : {"c0|c1=0*c0", "0*c0|c1=c0"}) {
        SCOPED_TRACE(side);
        const auto path = folder / "side.wav";
        makeMovie(std::string(burst) + " -af pan='stereo|c0=" + side + "'", path);
        const auto samples = readAll(path);
        const auto place = static_cast<std::size_t>(loudest(samples) * 16000);
        EXPECT_NEAR(std::abs(samples[place]), 0.4 * 32767, 1500);
    }
}

TEST(LibavSoundReader, SaysWhatIsWrongWithAFile) {
    const ExportFolder folder;
    EXPECT_EQ(errorOf(folder / "missing.wav"), "POSIX");
    EXPECT_EQ(errorOf(folder / ""), "POSIX");
    const auto silent = folder / "silent.mp4";
    makeMovie("-f lavfi -i testsrc2=s=64x64:r=10:d=1 -c:v libx264 -preset ultrafast", silent);
    EXPECT_EQ(errorOf(silent), "libav");
    for (const std::size_t size : {std::size_t{0}, std::size_t{10000}}) {
        const auto path = folder / "noise.bin";
        writeFile(path, std::vector<std::byte>(size, std::byte{0x5a}), size);
        EXPECT_EQ(errorOf(path), "libav") << size;
    }
    const auto whole = folder / "whole.m4a";
    makeMovie(std::string(burst) + " -movflags faststart", whole);
    const auto content = fileContent(whole);
    const auto cut = folder / "cut.m4a";
    writeFile(cut, content, content.size() / 2);
    EXPECT_EQ(errorOf(cut), "libav");
}

TEST(LibavSoundReader, DamagedPacketsAreSilence) {
    const ExportFolder folder;
    const auto path = folder / "a.flac";
    makeMovie(std::string(burst), path);
    auto content = fileContent(path);
    // Not the headers, and not where the burst is.
    for (std::size_t at = content.size() * 3 / 4; at < content.size() * 3 / 4 + 64; ++at)
        content[at] ^= std::byte{0xff};
    const auto damaged = folder / "damaged.flac";
    writeFile(damaged, content, content.size());
    EXPECT_NEAR(loudest(readAll(damaged)), 2.0, 0.003);
}

TEST(LibavSoundReader, AFileThatDoesNotKnowItsLengthIsWhole) {
    const ExportFolder folder;
    const auto path = folder / "piped.wav";
    outputOf("ffmpeg -v error -nostdin " + std::string(burst) + " -f wav - > " + quoted(path));
    const auto samples = readAll(path);
    EXPECT_NEAR(static_cast<double>(samples.size()), 4 * 16000, 16);
    EXPECT_NEAR(loudest(samples), 2.0, 0.003);
}

TEST(LibavSoundReader, SoundWhoseClockBeginsAgainFollowsOn) {
    const ExportFolder folder;
    for (const std::string kind : {"ogg", "ts"}) {
        SCOPED_TRACE(kind);
        const auto one = folder / ("one." + kind);
        const std::string codec = kind == "ogg" ? " -c:a libopus" : " -c:a aac";
        makeMovie("-f lavfi -i sine=500:r=48000:d=3" + codec, one);
        const auto other = folder / ("other." + kind);
        makeMovie(std::string(burst) + codec, other);
        const auto both = folder / ("both." + kind);
        outputOf("cat " + quoted(one) + " " + quoted(other) + " > " + quoted(both));
        const auto samples = readAll(both);
        EXPECT_NEAR(static_cast<double>(samples.size()) / 16000, 7, 0.1);
        EXPECT_NEAR(loudest(samples), 5, 0.1);
    }
}

}  // namespace
}  // namespace quorvane::platform::libav
