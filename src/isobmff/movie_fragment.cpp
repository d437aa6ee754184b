#include "isobmff/movie_fragment.h"

#include <cassert>

namespace quorvane::isobmff {
namespace {

constexpr std::uint32_t offsetsCountFromFragment = 0x020000;
constexpr std::uint32_t hasDataOffset = 0x000001;
constexpr std::uint32_t hasDurations = 0x000100;
constexpr std::uint32_t hasSizes = 0x000200;
constexpr std::uint32_t hasFlags = 0x000400;

// Returns where the offset of the track's data is to be filled in.
std::size_t writeTrackFragment(BoxWriter& writer, const FragmentTrack& track,
                               FragmentPlace& place) {
    const auto box = writer.box("traf");
    {
        const auto header = writer.fullBox("tfhd", 0, offsetsCountFromFragment);
        writer.u32(track.trackID);
    }
    {
        const auto time = writer.fullBox("tfdt", 1, 0);
        writer.u64(static_cast<std::uint64_t>(track.decodeTime));
    }
    const auto flags =
        hasDataOffset | hasSizes | (track.sameDuration ? 0U : hasDurations | hasFlags);
    const auto run = writer.fullBox("trun", 0, flags);
    writer.u32(static_cast<std::uint32_t>(track.samples.size()));
    const auto dataOffsetPosition = writer.size();
    writer.u32(0);
    for (const auto& sample : track.samples) {
        if (!track.sameDuration) {
            place.lastDurationPosition = writer.size();
            writer.u32(sample.duration);
        }
        writer.u32(sample.size);
        if (!track.sameDuration) writer.u32(sample.isSync ? syncSampleFlags : dependentSampleFlags);
    }
    return dataOffsetPosition;
}

}  // namespace

void writeFragmentHeader(BoxWriter& writer, std::uint32_t sequenceNumber,
                         std::span<const FragmentTrack> tracks, std::span<FragmentPlace> places) {
    assert(tracks.size() == places.size());
    const auto begin = writer.size();
    // Until the offsets can be filled in, a place holds where to fill its own in.
    {
        const auto fragment = writer.box("moof");
        {
            const auto header = writer.fullBox("mfhd", 0, 0);
            writer.u32(sequenceNumber);
        }
        for (std::size_t index = 0; index < tracks.size(); ++index) {
            places[index] = {};
            places[index].data = writeTrackFragment(writer, tracks[index], places[index]);
        }
    }
    std::size_t mediaSize = 0;
    const auto mediaBegin = writer.size() + 8 - begin;
    for (std::size_t index = 0; index < tracks.size(); ++index) {
        auto& place = places[index];
        const auto offsetPosition = place.data;
        place.data = mediaBegin + mediaSize;
        if (place.lastDurationPosition != 0) place.lastDurationPosition -= begin;
        writer.replaceU32(offsetPosition, static_cast<std::uint32_t>(place.data));
        for (const auto& sample : tracks[index].samples)
            mediaSize += sample.size;
    }
    writer.bytes(boxHeader(static_cast<std::uint32_t>(8 + mediaSize), "mdat"));
}

}  // namespace quorvane::isobmff
