#include "isobmff/movie_header.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "isobmff/movie_fragment.h"

namespace quorvane::isobmff {
namespace {

constexpr std::uint32_t most32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t one = 0x00010000;               // 1.0 as 16.16
constexpr std::uint32_t undeterminedLanguage = 0x55C4;  // "und", 5 bits a letter

// The track as the boxes below need it; without samples when they follow in fragments.
struct Track {
    std::uint32_t id;
    const TrackDescription& description;
    const SampleTable& samples;
    std::int64_t start;
    std::int64_t duration;

    bool isPicture() const { return std::holds_alternative<PictureFormat>(description.format); }
};

// A number that has 64 bits in version 1 of its box and 32 in version 0.
void writeSized(BoxWriter& writer, bool large, std::uint64_t value) {
    if (large) {
        writer.u64(value);
    } else {
        writer.u32(static_cast<std::uint32_t>(value));
    }
}

bool needs64(std::uint64_t creationTime, std::int64_t duration) {
    return creationTime > most32 || static_cast<std::uint64_t>(duration) >= most32;
}

void writeUnityMatrix(BoxWriter& writer) {
    for (const std::uint32_t value : {one, 0U, 0U, 0U, one, 0U, 0U, 0U, 0x40000000U})
        writer.u32(value);
}

void writeMovieHeader(BoxWriter& writer, std::uint64_t creationTime, std::int64_t duration,
                      std::uint32_t nextTrackID) {
    const bool large = needs64(creationTime, duration);
    const auto box = writer.fullBox("mvhd", large ? 1 : 0, 0);
    writeSized(writer, large, creationTime);
    writeSized(writer, large, creationTime);  // modified
    writer.u32(movieTimescale);
    writeSized(writer, large, static_cast<std::uint64_t>(duration));
    writer.u32(one);     // rate
    writer.u16(0x0100);  // volume
    writer.zeros(10);
    writeUnityMatrix(writer);
    writer.zeros(24);
    writer.u32(nextTrackID);
}

void writeTrackHeader(BoxWriter& writer, const Track& track, std::uint64_t creationTime) {
    const auto duration = track.start + track.duration;
    const bool large = needs64(creationTime, duration);
    constexpr std::uint32_t enabledInMovieAndPreview = 7;
    const auto box = writer.fullBox("tkhd", large ? 1 : 0, enabledInMovieAndPreview);
    writeSized(writer, large, creationTime);
    writeSized(writer, large, creationTime);
    writer.u32(track.id);
    writer.zeros(4);
    writeSized(writer, large, static_cast<std::uint64_t>(duration));
    writer.zeros(8);
    writer.u16(0);  // layer
    writer.u16(0);  // alternate group: none, so all tracks play at once
    writer.u16(track.isPicture() ? 0 : 0x0100);
    writer.zeros(2);
    writeUnityMatrix(writer);
    const auto* picture = std::get_if<PictureFormat>(&track.description.format);
    writer.u32(picture ? static_cast<std::uint32_t>(picture->width) << 16U : 0);
    writer.u32(picture ? static_cast<std::uint32_t>(picture->height) << 16U : 0);
}

void writeEdits(BoxWriter& writer, const Track& track) {
    struct Edit {
        std::int64_t duration;
        std::int64_t mediaTime;
    };
    std::vector<Edit> edits;
    if (track.start > 0) edits.push_back({track.start, -1});
    // A duration of 0 in front of fragments: the edit goes on to the movie's end.
    if (track.description.priming > 0 || track.start > 0)
        edits.push_back({track.duration, track.description.priming});
    if (edits.empty()) return;

    const bool large = std::ranges::any_of(edits, [](const Edit& edit) {
        return static_cast<std::uint64_t>(edit.duration) >= most32;
    });
    const auto container = writer.box("edts");
    const auto list = writer.fullBox("elst", large ? 1 : 0, 0);
    writer.u32(static_cast<std::uint32_t>(edits.size()));
    for (const auto& edit : edits) {
        writeSized(writer, large, static_cast<std::uint64_t>(edit.duration));
        writeSized(writer, large, static_cast<std::uint64_t>(edit.mediaTime));
        writer.u32(one);  // rate
    }
}

void writeMediaHeader(BoxWriter& writer, const Track& track, std::uint64_t creationTime) {
    const auto duration = track.samples.duration();
    const bool large = needs64(creationTime, duration);
    const auto box = writer.fullBox("mdhd", large ? 1 : 0, 0);
    writeSized(writer, large, creationTime);
    writeSized(writer, large, creationTime);
    writer.u32(track.description.timescale);
    writeSized(writer, large, static_cast<std::uint64_t>(duration));
    writer.u16(undeterminedLanguage);
    writer.u16(0);
}

void writeHandler(BoxWriter& writer, const Track& track) {
    const auto box = writer.fullBox("hdlr", 0, 0);
    writer.u32(0);
    writer.text(track.isPicture() ? "vide" : "soun");
    writer.zeros(12);
    writer.text(track.isPicture() ? "Video" : "Audio");
    writer.u8(0);
}

void writeSampleEntry(BoxWriter& writer, const PictureFormat& format) {
    const auto entry = writer.box("avc1");
    writer.zeros(6);
    writer.u16(1);  // data reference
    writer.zeros(16);
    writer.u16(static_cast<std::uint16_t>(format.width));
    writer.u16(static_cast<std::uint16_t>(format.height));
    writer.u32(0x00480000);  // 72 pixels an inch, both ways
    writer.u32(0x00480000);
    writer.u32(0);
    writer.u16(1);     // one picture a sample
    writer.zeros(32);  // no compressor name
    writer.u16(24);    // bits a pixel
    writer.u16(0xFFFF);
    {
        const auto configuration = writer.box("avcC");
        writer.bytes(format.avcConfiguration);
    }
    {
        const auto colour = writer.box("colr");
        writer.text("nclx");
        writer.u16(1);  // BT.709 primaries,
        writer.u16(1);  // transfer function
        writer.u16(1);  // and matrix
        writer.u8(0);   // limited range
    }
    const auto aspect = writer.box("pasp");
    writer.u32(1);
    writer.u32(1);
}

// The descriptors' lengths are single bytes, so the configuration has less than 100 bytes.
void writeDescriptors(BoxWriter& writer, const SoundFormat& format) {
    const auto box = writer.fullBox("esds", 0, 0);
    const auto configSize = static_cast<std::uint8_t>(format.specificConfig.size());
    const auto decoderSize = static_cast<std::uint8_t>(13 + 2 + configSize);
    writer.u8(3);  // elementary stream
    writer.u8(static_cast<std::uint8_t>(3 + 2 + decoderSize + 2 + 1));
    writer.u16(0);
    writer.u8(0);
    writer.u8(4);  // decoder configuration
    writer.u8(decoderSize);
    writer.u8(0x40);  // MPEG-4 audio
    writer.u8(0x15);  // an audio stream
    writer.u24(0);
    writer.u32(static_cast<std::uint32_t>(format.bitRate));
    writer.u32(static_cast<std::uint32_t>(format.bitRate));
    writer.u8(5);  // decoder specific
    writer.u8(configSize);
    writer.bytes(format.specificConfig);
    writer.u8(6);  // synchronisation layer
    writer.u8(1);
    writer.u8(2);  // as MP4 files have it
}

void writeSampleEntry(BoxWriter& writer, const SoundFormat& format) {
    const auto entry = writer.box("mp4a");
    writer.zeros(6);
    writer.u16(1);  // data reference
    writer.zeros(8);
    writer.u16(static_cast<std::uint16_t>(format.channels));
    writer.u16(16);  // bits a sample
    writer.zeros(4);
    writer.u32(static_cast<std::uint32_t>(format.sampleRate) << 16U);
    writeDescriptors(writer, format);
}

void writeSampleTable(BoxWriter& writer, const Track& track, std::int64_t shift,
                      bool largeOffsets) {
    const auto table = writer.box("stbl");
    {
        const auto descriptions = writer.fullBox("stsd", 0, 0);
        writer.u32(1);
        std::visit([&](const auto& format) { writeSampleEntry(writer, format); },
                   track.description.format);
    }
    track.samples.write(writer, shift, largeOffsets);
}

void writeTrack(BoxWriter& writer, const Track& track, std::uint64_t creationTime,
                std::int64_t shift, bool largeOffsets) {
    const auto box = writer.box("trak");
    writeTrackHeader(writer, track, creationTime);
    writeEdits(writer, track);
    const auto media = writer.box("mdia");
    writeMediaHeader(writer, track, creationTime);
    writeHandler(writer, track);
    const auto information = writer.box("minf");
    if (track.isPicture()) {
        const auto header = writer.fullBox("vmhd", 0, 1);
        writer.zeros(8);
    } else {
        const auto header = writer.fullBox("smhd", 0, 0);
        writer.zeros(4);
    }
    {
        const auto data = writer.box("dinf");
        const auto references = writer.fullBox("dref", 0, 0);
        writer.u32(1);
        constexpr std::uint32_t inThisFile = 1;
        const auto reference = writer.fullBox("url ", 0, inThisFile);
    }
    writeSampleTable(writer, track, shift, largeOffsets);
}

// What a reader of fragments takes for granted of each sample unless the fragment says otherwise.
void writeFragmentDefaults(BoxWriter& writer, std::span<const TrackDescription> tracks) {
    const auto extends = writer.box("mvex");
    for (std::size_t index = 0; index < tracks.size(); ++index) {
        const auto defaults = writer.fullBox("trex", 0, 0);
        writer.u32(trackID(index));
        writer.u32(1);  // the only sample description
        writer.u32(tracks[index].sampleDuration);
        writer.u32(0);  // sizes differ
        writer.u32(syncSampleFlags);
    }
}

}  // namespace

Bytes fileType() {
    BoxWriter writer;
    {
        const auto box = writer.box("ftyp");
        writer.text("isom");
        writer.u32(0x200);
        for (const auto* brand : {"isom", "iso5", "iso6", "avc1", "mp41"})
            writer.text(brand);
    }
    return writer.take();
}

Bytes fragmentedMovieHeader(std::span<const TrackDescription> tracks, std::uint64_t creationTime) {
    const SampleTable none;
    BoxWriter writer;
    {
        const auto movie = writer.box("moov");
        writeMovieHeader(writer, creationTime, 0, trackID(tracks.size()));
        for (std::size_t index = 0; index < tracks.size(); ++index)
            writeTrack(writer, {trackID(index), tracks[index], none, 0, 0}, creationTime, 0, false);
        writeFragmentDefaults(writer, tracks);
    }
    return writer.take();
}

Bytes progressiveMovieHeader(std::span<const FinishedTrack> tracks, std::uint64_t creationTime,
                             std::int64_t shift) {
    std::int64_t duration = 0;
    std::int64_t lastOffset = 0;
    for (const auto& track : tracks) {
        duration = std::max(duration, track.start + track.duration);
        lastOffset = std::max(lastOffset, track.samples.lastChunkOffset());
    }
    const bool largeOffsets = lastOffset + shift > most32;
    BoxWriter writer;
    {
        const auto movie = writer.box("moov");
        writeMovieHeader(writer, creationTime, duration, trackID(tracks.size()));
        for (std::size_t index = 0; index < tracks.size(); ++index) {
            const auto& track = tracks[index];
            writeTrack(
                writer,
                {trackID(index), track.description, track.samples, track.start, track.duration},
                creationTime, shift, largeOffsets);
        }
    }
    return writer.take();
}

}  // namespace quorvane::isobmff
