#include "isobmff/movie_header.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "unit/isobmff/bytes.h"

namespace quorvane::isobmff {
namespace {

// The content of the first box with this type, wherever it lies, as text; empty without one.
std::string content(const Bytes& movie, std::string_view type, std::size_t nth = 0) {
    const auto wanted = hex(std::as_bytes(std::span(type)));
    for (std::size_t at = 4; at + 4 <= movie.size(); ++at) {
        if (hex(std::span(movie).subspan(at, 4)) != wanted) continue;
        if (nth-- > 0) continue;
        std::size_t size = 0;
        for (int index = 0; index < 4; ++index)
            size = size * 256 + std::to_integer<std::size_t>(movie[at - 4 + index]);
        return hex(std::span(movie).subspan(at + 4, size - 8));
    }
    return {};
}

std::vector<TrackDescription> description() {
    return {
        {.format = PictureFormat{1920, 1080, bytesOf("0164002a")}, .timescale = 90000},
        {.format = SoundFormat{48000, 2, 192000, bytesOf("1190")},
         .timescale = 48000,
         .sampleDuration = 1024,
         .priming = 1024},
    };
}

TEST(FileType, NamesTheBrands) {
    EXPECT_EQ(hex(fileType()), asHex("00000024'ftypisom'00000200'isomiso5iso6avc1mp41'"));
}

TEST(FragmentedMovieHeader, AnnouncesTracksWithoutSamples) {
    const auto movie = fragmentedMovieHeader(description(), 0x01020304);
    EXPECT_EQ(hex(std::span(movie).subspan(4, 4)), asHex("'moov'"));
    EXPECT_EQ(content(movie, "mvhd").substr(0, 40),
              asHex("00000000 01020304 01020304 00015f90 00000000"));
    EXPECT_EQ(content(movie, "tkhd", 1).substr(0, 48),
              asHex("00000007 01020304 01020304 00000002 00000000 00000000"));
    // The edit has no end: it goes on over the fragments.
    EXPECT_EQ(content(movie, "elst"), asHex("00000000 00000001 00000000 00000400 00010000"));
    EXPECT_EQ(content(movie, "trex", 0), asHex("00000000 00000001 00000001 00000000 00000000"
                                               "02000000"));
    EXPECT_EQ(content(movie, "trex", 1), asHex("00000000 00000002 00000001 00000400 00000000"
                                               "02000000"));
    EXPECT_EQ(content(movie, "stsz"), asHex("00000000 00000000 00000000"));
}

TEST(FragmentedMovieHeader, DescribesTheFormats) {
    const auto movie = fragmentedMovieHeader(description(), 0);
    EXPECT_EQ(content(movie, "avcC"), "0164002a");
    EXPECT_EQ(content(movie, "colr"), asHex("'nclx' 0001 0001 0001 00"));
    EXPECT_EQ(content(movie, "avc1").substr(48, 8), asHex("0780 0438"));
    EXPECT_EQ(content(movie, "hdlr", 0).substr(16, 8), asHex("'vide'"));
    EXPECT_EQ(content(movie, "hdlr", 1).substr(16, 8), asHex("'soun'"));
    EXPECT_EQ(content(movie, "mp4a").substr(32, 24), asHex("0002 0010 0000 0000 bb800000"));
    EXPECT_EQ(content(movie, "esds"), asHex("00000000 0319 0000 00 0411 40 15 000000 0002ee00"
                                            "0002ee00 0502 1190 0601 02"));
}

TEST(ProgressiveMovieHeader, IndexesTheSamples) {
    const auto tracks = description();
    SampleTable pictures;
    pictures.addChunk(0x1000);
    pictures.addSample(5, 90000, true);
    SampleTable sounds;
    sounds.addChunk(0x1005);
    sounds.addSample(6, 1024, true);
    sounds.addSample(6, 512, true);
    const FinishedTrack finished[] = {{tracks[0], pictures, 0, 90000}, {tracks[1], sounds, 0, 960}};
    const auto movie = progressiveMovieHeader(finished, 0, 0x10);
    EXPECT_EQ(content(movie, "mvex"), "");
    EXPECT_EQ(content(movie, "mvhd").substr(24, 16), asHex("00015f90 00015f90"));
    EXPECT_EQ(content(movie, "tkhd", 1).substr(40, 8), asHex("000003c0"));
    EXPECT_EQ(content(movie, "mdhd", 1).substr(24, 16), asHex("0000bb80 00000600"));
    EXPECT_EQ(content(movie, "elst"), asHex("00000000 00000001 000003c0 00000400 00010000"));
    EXPECT_EQ(content(movie, "stco", 0), asHex("00000000 00000001 00001010"));
    EXPECT_EQ(content(movie, "stco", 1), asHex("00000000 00000001 00001015"));
}

TEST(ProgressiveMovieHeader, BeginsALateTrackWithAnEmptyEdit) {
    const auto tracks = description();
    SampleTable pictures;
    pictures.addChunk(0);
    pictures.addSample(5, 90000, true);
    const FinishedTrack finished[] = {{tracks[0], pictures, 45000, 90000}};
    const auto movie = progressiveMovieHeader(finished, 0, 0);
    EXPECT_EQ(content(movie, "elst"), asHex("00000000 00000002 0000afc8 ffffffff 00010000"
                                            "00015f90 00000000 00010000"));
    EXPECT_EQ(content(movie, "mvhd").substr(32, 8), asHex("00020f58"));
}

TEST(ProgressiveMovieHeader, GoesTo64BitsWhereItMust) {
    const auto tracks = description();
    SampleTable pictures;
    pictures.addChunk(0xfffffff0);
    pictures.addSample(5, 90000, true);
    struct Row {
        const char* name;
        std::int64_t shift;
        std::int64_t duration;
        const char* offsets;
        const char* movieHeaderBegin;
    };
    const Row rows[] = {
        {"both fit", 0, 90000, "stco", "00000000"},
        {"an offset beyond 4 GiB", 0x10, 90000, "co64", "00000000"},
        {"more than 13 hours", 0, 0x100000000, "stco", "01000000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const FinishedTrack finished[] = {{tracks[0], pictures, 0, row.duration}};
        const auto movie = progressiveMovieHeader(finished, 0, row.shift);
        EXPECT_NE(content(movie, row.offsets), "");
        EXPECT_EQ(content(movie, "mvhd").substr(0, 8), row.movieHeaderBegin);
    }
}

}  // namespace
}  // namespace quorvane::isobmff
