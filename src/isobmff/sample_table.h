// The samples of one track as they lie in the file: what a movie's index is made from.
// Why run lengths: an hour of pictures is 216000 samples; what the finished index does not need is
// not kept.
// Units: durations in the track's timescale, sizes and offsets in bytes.
// Threads: a value, one thread at a time. Errors: none but lack of memory.
#pragma once

#include <cstdint>
#include <vector>

#include "isobmff/box_writer.h"

namespace quorvane::isobmff {

class SampleTable {
  public:
    // Samples of one chunk lie one after the other; the chunk's samples are added after it.
    void addChunk(std::int64_t offset);
    void addSample(std::uint32_t size, std::uint32_t duration, bool isSync);
    // How long the last sample lasts after all. There is a sample.
    void setLastDuration(std::uint32_t duration);
    // Leaves out samples at the end, and shortens the last that stays, until all together last no
    // longer than that.
    void trimTo(std::int64_t duration);

    bool empty() const { return sizes_.empty(); }
    std::uint32_t sampleCount() const { return static_cast<std::uint32_t>(sizes_.size()); }
    std::int64_t duration() const { return duration_; }
    std::uint32_t lastDuration() const { return runs_.empty() ? 0 : runs_.back().duration; }
    // Where the last chunk begins; 0 without chunks.
    std::int64_t lastChunkOffset() const { return chunks_.empty() ? 0 : chunks_.back().offset; }

    // Writes stts, stss (unless every sample is a sync sample), stsc, stsz and stco or, for 64-bit
    // offsets, co64. The shift is added to every chunk's offset.
    void write(BoxWriter& writer, std::int64_t shift, bool largeOffsets) const;

  private:
    struct Run {
        std::uint32_t count;
        std::uint32_t duration;
    };
    struct Chunk {
        std::int64_t offset;
        std::uint32_t sampleCount;
    };

    void removeLast();

    std::vector<std::uint32_t> sizes_;
    std::vector<Run> runs_;                   // samples in a row that last equally long
    std::vector<std::uint32_t> syncSamples_;  // counted from 1
    std::vector<Chunk> chunks_;
    std::int64_t duration_ = 0;
};

}  // namespace quorvane::isobmff
