// What stands in front of a movie's media: the file type and the movie box, which is either empty
// and announces fragments, or the index of all samples.
// Why both are made here: the second takes the first one's place when a recording is finished, and
// must describe the same tracks.
// Units: stated at each field; the movie's own ticks are 1/movieTimescale s.
// Threads: pure. Errors: none but lack of memory.
#pragma once

#include <cstdint>
#include <span>
#include <variant>

#include "isobmff/box_writer.h"
#include "isobmff/sample_table.h"

namespace quorvane::isobmff {

constexpr std::uint32_t movieTimescale = 90000;  // ticks/s

// H.264, BT.709 in limited range.
struct PictureFormat {
    int width = 0;   // pixels
    int height = 0;  // pixels
    Bytes avcConfiguration;
};

// AAC.
struct SoundFormat {
    int sampleRate = 0;  // Hz
    int channels = 0;
    int bitRate = 0;       // bit/s
    Bytes specificConfig;  // AudioSpecificConfig, less than 100 bytes
};

struct TrackDescription {
    std::variant<PictureFormat, SoundFormat> format;
    std::uint32_t timescale = 0;  // ticks/s of the track's own times
    // What every sample lasts, in the track's ticks; 0 when they differ.
    std::uint32_t sampleDuration = 0;
    // What the decoder gives before the track's first sound, in the track's ticks.
    std::int64_t priming = 0;
};

// A track of a movie that has ended.
struct FinishedTrack {
    const TrackDescription& description;
    const SampleTable& samples;
    std::int64_t start = 0;     // movie ticks from the movie's begin to the track's
    std::int64_t duration = 0;  // movie ticks, from the track's begin
};

// The track's number in the movie, from its place in the list of tracks.
constexpr std::uint32_t trackID(std::size_t index) {
    return static_cast<std::uint32_t>(index + 1);
}

Bytes fileType();

// A movie without samples of its own. The creation time counts seconds since 1904.
Bytes fragmentedMovieHeader(std::span<const TrackDescription> tracks, std::uint64_t creationTime);

// The index of a whole movie. The shift is added to the offset of every chunk.
Bytes progressiveMovieHeader(std::span<const FinishedTrack> tracks, std::uint64_t creationTime,
                             std::int64_t shift);

}  // namespace quorvane::isobmff
