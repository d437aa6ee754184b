// One fragment of a movie that is still being written: the samples of each track since the last
// fragment, and what a reader must know of them.
// Units: times and durations in the track's ticks, sizes and positions in bytes.
// Threads: pure. Errors: none but lack of memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "isobmff/box_writer.h"

namespace quorvane::isobmff {

// What a sample's flags say: nothing else is needed to decode it, or something is.
constexpr std::uint32_t syncSampleFlags = 0x02000000;
constexpr std::uint32_t dependentSampleFlags = 0x01010000;

struct FragmentSample {
    std::uint32_t size = 0;
    std::uint32_t duration = 0;
    bool isSync = true;
};

struct FragmentTrack {
    std::uint32_t trackID = 0;
    std::int64_t decodeTime = 0;              // of the first sample
    bool sameDuration = false;                // every sample lasts what the movie's header says
    std::span<const FragmentSample> samples;  // at least one
};

// Where a track's part lies, counted from the fragment's first byte.
struct FragmentPlace {
    std::size_t data = 0;  // the first sample
    std::size_t lastDurationPosition =
        0;  // the last sample's duration, 4 bytes; 0 for sameDuration
};

// Writes the header of a fragment; the tracks' samples follow it, track by track. There are as many
// places as tracks.
void writeFragmentHeader(BoxWriter& writer, std::uint32_t sequenceNumber,
                         std::span<const FragmentTrack> tracks, std::span<FragmentPlace> places);

}  // namespace quorvane::isobmff
