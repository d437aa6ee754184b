#include "isobmff/movie_fragment.h"

#include <array>

#include <gtest/gtest.h>

#include "unit/isobmff/bytes.h"

namespace quorvane::isobmff {
namespace {

TEST(WriteFragmentHeader, DescribesEveryTracksSamples) {
    const FragmentSample pictures[] = {{100, 3000, true}, {50, 1500, false}};
    const FragmentSample sounds[] = {{7, 1024, true}, {9, 1024, true}, {11, 1024, true}};
    const FragmentTrack tracks[] = {{1, 0x100000000, false, pictures}, {2, 0x800, true, sounds}};
    std::array<FragmentPlace, 2> places;
    BoxWriter writer;
    writer.u32(0);  // positions count from the fragment, not from the writer's begin
    writeFragmentHeader(writer, 5, tracks, places);
    EXPECT_EQ(hex(writer.data().subspan(4)),
              asHex("000000bc'moof'"
                    "00000010'mfhd'00000000 00000005"
                    "00000058'traf'"
                    "00000010'tfhd'00020000 00000001"
                    "00000014'tfdt'01000000 0000000100000000"
                    "0000002c'trun'00000701 00000002 000000c4"
                    "00000bb8 00000064 02000000 000005dc 00000032 01010000"
                    "0000004c'traf'"
                    "00000010'tfhd'00020000 00000002"
                    "00000014'tfdt'01000000 0000000000000800"
                    "00000020'trun'00000201 00000003 0000015a 00000007 00000009 0000000b"
                    "000000b9'mdat'"));
    EXPECT_EQ(places[0].data, 0xc4U);
    EXPECT_EQ(places[1].data, 0x15aU);
    EXPECT_EQ(hex(writer.data().subspan(4 + places[0].lastDurationPosition, 4)), "000005dc");
    EXPECT_EQ(places[1].lastDurationPosition, 0U);
}

}  // namespace
}  // namespace quorvane::isobmff
