#include "isobmff/sample_table.h"

#include <functional>

#include <gtest/gtest.h>

#include "unit/isobmff/bytes.h"

namespace quorvane::isobmff {
namespace {

constexpr const char* empty =
    "00000010'stts'00000000 00000000"
    "00000010'stsc'00000000 00000000"
    "00000014'stsz'00000000 00000000 00000000"
    "00000010'stco'00000000 00000000";

TEST(SampleTable, WritesWhatWasAdded) {
    struct Row {
        const char* name;
        std::function<void(SampleTable&)> fill;
        std::int64_t shift;
        bool large;
        const char* boxes;
    };
    const Row rows[] = {
        {"nothing", [](SampleTable&) {}, 0, false, empty},
        {"sync samples only have no list of them",
         [](SampleTable& table) {
             table.addChunk(0x1000);
             table.addSample(7, 1024, true);
             table.addSample(8, 1024, true);
         },
         0, false,
         "00000018'stts'00000000 00000001 00000002 00000400"
         "0000001c'stsc'00000000 00000001 00000001 00000002 00000001"
         "0000001c'stsz'00000000 00000000 00000002 00000007 00000008"
         "00000014'stco'00000000 00000001 00001000"},
        {"runs of durations, sync samples, chunks of two sizes, moved",
         [](SampleTable& table) {
             table.addChunk(0x100);
             table.addSample(1, 10, true);
             table.addChunk(0x200);
             table.addSample(2, 10, false);
             table.addChunk(0x300);
             table.addSample(3, 20, false);
             table.addSample(4, 10, true);
         },
         0x10, false,
         "00000028'stts'00000000 00000003 00000002 0000000a 00000001 00000014 00000001 0000000a"
         "00000018'stss'00000000 00000002 00000001 00000004"
         "00000028'stsc'00000000 00000002 00000001 00000001 00000001 00000003 00000002 00000001"
         "00000024'stsz'00000000 00000000 00000004 00000001 00000002 00000003 00000004"
         "0000001c'stco'00000000 00000003 00000110 00000210 00000310"},
        {"offsets in 64 bits",
         [](SampleTable& table) {
             table.addChunk(0x100000000);
             table.addSample(1, 10, true);
         },
         -1, true,
         "00000018'stts'00000000 00000001 00000001 0000000a"
         "0000001c'stsc'00000000 00000001 00000001 00000001 00000001"
         "00000018'stsz'00000000 00000000 00000001 00000001"
         "00000018'co64'00000000 00000001 00000000ffffffff"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        SampleTable table;
        row.fill(table);
        BoxWriter writer;
        table.write(writer, row.shift, row.large);
        EXPECT_EQ(hex(writer.data()), asHex(row.boxes));
    }
}

// Three samples of 10, 10 and 20 ticks in two chunks.
SampleTable threeSamples() {
    SampleTable table;
    table.addChunk(0x100);
    table.addSample(1, 10, true);
    table.addSample(2, 10, false);
    table.addChunk(0x200);
    table.addSample(3, 20, true);
    return table;
}

TEST(SampleTable, ChangesTheLastDuration) {
    struct Row {
        const char* name;
        std::uint32_t duration;
        const char* times;
    };
    const Row rows[] = {
        {"the same", 20, "00000002 00000002 0000000a 00000001 00000014"},
        {"as the ones before", 10, "00000001 00000003 0000000a"},
        {"longer", 30, "00000002 00000002 0000000a 00000001 0000001e"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto table = threeSamples();
        table.setLastDuration(row.duration);
        EXPECT_EQ(table.duration(), 20 + row.duration);
        EXPECT_EQ(table.lastDuration(), row.duration);
        BoxWriter writer;
        table.write(writer, 0, false);
        const auto times = asHex(row.times);
        EXPECT_EQ(hex(writer.data()).substr(24, times.size()), times);
    }
}

TEST(SampleTable, IsTrimmedToADuration) {
    struct Row {
        const char* name;
        std::int64_t duration;
        std::uint32_t samples;
        std::uint32_t lastDuration;
        std::int64_t lastChunk;
    };
    const Row rows[] = {
        {"longer than it is", 50, 3, 20, 0x200},   {"as long as it is", 40, 3, 20, 0x200},
        {"into the last sample", 25, 3, 5, 0x200}, {"without the last sample", 20, 2, 10, 0x100},
        {"into the first sample", 4, 1, 4, 0x100}, {"to nothing", 0, 0, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto table = threeSamples();
        table.trimTo(row.duration);
        EXPECT_EQ(table.sampleCount(), row.samples);
        EXPECT_EQ(table.duration(), std::min<std::int64_t>(row.duration, 40));
        EXPECT_EQ(table.lastDuration(), row.lastDuration);
        EXPECT_EQ(table.lastChunkOffset(), row.lastChunk);
    }
}

TEST(SampleTable, TrimmedToNothingIsAsNew) {
    auto table = threeSamples();
    table.trimTo(0);
    BoxWriter writer;
    table.write(writer, 0, false);
    EXPECT_EQ(hex(writer.data()), asHex(empty));
}

}  // namespace
}  // namespace quorvane::isobmff
