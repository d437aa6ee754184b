#include "isobmff/sample_table.h"

#include <cassert>

namespace quorvane::isobmff {

void SampleTable::addChunk(std::int64_t offset) {
    chunks_.push_back({offset, 0});
}

void SampleTable::addSample(std::uint32_t size, std::uint32_t duration, bool isSync) {
    assert(!chunks_.empty());
    sizes_.push_back(size);
    ++chunks_.back().sampleCount;
    if (isSync) syncSamples_.push_back(sampleCount());
    if (!runs_.empty() && runs_.back().duration == duration) {
        ++runs_.back().count;
    } else {
        runs_.push_back({1, duration});
    }
    duration_ += duration;
}

void SampleTable::setLastDuration(std::uint32_t duration) {
    assert(!runs_.empty());
    auto& last = runs_.back();
    if (last.duration == duration) return;
    duration_ += static_cast<std::int64_t>(duration) - last.duration;
    if (--last.count == 0) runs_.pop_back();
    if (!runs_.empty() && runs_.back().duration == duration) {
        ++runs_.back().count;
    } else {
        runs_.push_back({1, duration});
    }
}

void SampleTable::removeLast() {
    duration_ -= runs_.back().duration;
    if (--runs_.back().count == 0) runs_.pop_back();
    if (!syncSamples_.empty() && syncSamples_.back() == sampleCount()) syncSamples_.pop_back();
    sizes_.pop_back();
    while (chunks_.back().sampleCount == 0)
        chunks_.pop_back();
    if (--chunks_.back().sampleCount == 0) chunks_.pop_back();
}

void SampleTable::trimTo(std::int64_t duration) {
    while (!empty() && duration_ - runs_.back().duration >= duration)
        removeLast();
    if (duration_ > duration)
        setLastDuration(static_cast<std::uint32_t>(runs_.back().duration - (duration_ - duration)));
}

void SampleTable::write(BoxWriter& writer, std::int64_t shift, bool largeOffsets) const {
    {
        const auto times = writer.fullBox("stts", 0, 0);
        writer.u32(static_cast<std::uint32_t>(runs_.size()));
        for (const auto& run : runs_) {
            writer.u32(run.count);
            writer.u32(run.duration);
        }
    }
    if (syncSamples_.size() < sizes_.size()) {
        const auto sync = writer.fullBox("stss", 0, 0);
        writer.u32(static_cast<std::uint32_t>(syncSamples_.size()));
        for (const auto number : syncSamples_)
            writer.u32(number);
    }
    {
        const auto chunkSizes = writer.fullBox("stsc", 0, 0);
        const auto countPosition = writer.size();
        writer.u32(0);
        std::uint32_t entries = 0;
        std::uint32_t previous = 0;
        for (std::size_t index = 0; index < chunks_.size(); ++index) {
            if (chunks_[index].sampleCount == previous) continue;
            previous = chunks_[index].sampleCount;
            writer.u32(static_cast<std::uint32_t>(index + 1));
            writer.u32(previous);
            writer.u32(1);  // the only sample description
            ++entries;
        }
        writer.replaceU32(countPosition, entries);
    }
    {
        const auto sizes = writer.fullBox("stsz", 0, 0);
        writer.u32(0);  // no common size
        writer.u32(sampleCount());
        for (const auto size : sizes_)
            writer.u32(size);
    }
    const auto offsets = writer.fullBox(largeOffsets ? "co64" : "stco", 0, 0);
    writer.u32(static_cast<std::uint32_t>(chunks_.size()));
    for (const auto& chunk : chunks_) {
        if (largeOffsets) {
            writer.u64(static_cast<std::uint64_t>(chunk.offset + shift));
        } else {
            writer.u32(static_cast<std::uint32_t>(chunk.offset + shift));
        }
    }
}

}  // namespace quorvane::isobmff
