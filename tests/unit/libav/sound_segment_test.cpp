#include "platform/linux/libav/sound_segment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/packet.h>
}

namespace quorvane::platform::libav {
namespace {

using testing::ElementsAreArray;

// Beginnings of packets: two channels with one window, which is long, starting short ones, or long
// in another shape; and two channels with a window each.
constexpr unsigned longWindow = 0x210;
constexpr unsigned startWindow = 0x212;
constexpr unsigned otherShape = 0x211;
constexpr unsigned twoWindows = 0x200;

PacketPtr packet(unsigned beginning, std::int64_t mark) {
    auto made = makePacket();
    EXPECT_EQ(av_new_packet(made.get(), 2), 0);
    made->data[0] = static_cast<std::uint8_t>(beginning >> 4U);
    made->data[1] = static_cast<std::uint8_t>(beginning << 4U);
    made->pos = mark;
    return made;
}

// Packets whose mark is their number and, in the hundred thousands, their segment's.
EncodedSegment segment(std::int64_t number, std::int64_t first, int count, bool isLast) {
    EncodedSegment made;
    made.number = number;
    made.firstPacket = first;
    made.isLast = isLast;
    for (int index = 0; index < count; ++index)
        made.packets.push_back(packet(longWindow, number * 100'000 + first + index));
    return made;
}

std::vector<std::int64_t> marks(const std::vector<PacketPtr>& packets) {
    std::vector<std::int64_t> result;
    for (const auto& each : packets)
        result.push_back(each->pos);
    return result;
}

std::vector<std::int64_t> marksOf(std::int64_t number, std::int64_t from, std::int64_t to) {
    std::vector<std::int64_t> result;
    for (auto each = from; each <= to; ++each)
        result.push_back(number * 100'000 + each);
    return result;
}

TEST(SameWindow, IsThatOfBothChannelsInBothPackets) {
    struct Row {
        const char* name;
        unsigned one, other;
        bool same;
    };
    const Row rows[] = {
        {"long and long", longWindow, longWindow, true},
        {"both starting", startWindow, startWindow, true},
        {"long and starting", longWindow, startWindow, false},
        {"another shape", longWindow, otherShape, false},
        {"a window for each channel says nothing of the second", twoWindows, twoWindows, false},
        {"another element first", 0xC10, 0xC10, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(haveSameWindow(*packet(row.one, 0), *packet(row.other, 0)), row.same);
    }
    EXPECT_FALSE(haveSameWindow(*makePacket(), *makePacket()));
}

TEST(SegmentJoiner, OneSegmentIsTheTrack) {
    SegmentJoiner joiner;
    EXPECT_EQ(marks(joiner.append(segment(0, 0, 5, true))), marksOf(0, 0, 4));
}

TEST(SegmentJoiner, PassesOnAsLateAsItCan) {
    SegmentJoiner joiner;
    // The second begins 12 blocks before the first one's end.
    EXPECT_EQ(marks(joiner.append(segment(0, 0, 99, false))), marksOf(0, 0, 86));
    auto rest = marksOf(0, 87, 98);
    for (const auto mark : marksOf(1, 99, 120))
        rest.push_back(mark);
    EXPECT_EQ(marks(joiner.append(segment(1, 88, 33, true))), rest);
}

TEST(SegmentJoiner, PassesOnWhereTheWindowsAreTheSame) {
    SegmentJoiner joiner;
    joiner.append(segment(0, 0, 99, false));
    auto second = segment(1, 88, 33, true);
    for (int index = 6; index < 11; ++index)  // packets 94 to 98
        second.packets[static_cast<std::size_t>(index)] = packet(startWindow, 100'000 + 88 + index);
    auto rest = marksOf(0, 87, 93);
    for (const auto mark : marksOf(1, 94, 120))
        rest.push_back(mark);
    EXPECT_EQ(marks(joiner.append(std::move(second))), rest);
}

TEST(SegmentJoiner, NeverPassesOnToAnEncoderThatHasNotSettled) {
    SegmentJoiner joiner;
    joiner.append(segment(0, 0, 99, false));
    auto second = segment(1, 88, 33, true);
    // Only the first four packets are alike: they do not count.
    for (int index = 4; index < 11; ++index)
        second.packets[static_cast<std::size_t>(index)] = packet(startWindow, 100'000 + 88 + index);
    auto rest = marksOf(0, 87, 98);
    for (const auto mark : marksOf(1, 99, 120))
        rest.push_back(mark);
    EXPECT_EQ(marks(joiner.append(std::move(second))), rest);
}

TEST(SegmentJoiner, EveryPacketComesOnceOverManySegments) {
    SegmentJoiner joiner;
    std::vector<std::int64_t> numbers;
    for (int number = 0; number < 5; ++number) {
        const bool isLast = number == 4;
        const auto first = number == 0 ? 0 : number * 100 - 12;
        const auto count = (number + 1) * 100 - 1 - first + (isLast ? 1 : 0);
        for (const auto& each : joiner.append(segment(number, first, count, isLast)))
            numbers.push_back(each->pos % 100'000);
    }
    ASSERT_EQ(numbers.size(), 500U);
    for (std::size_t index = 0; index < numbers.size(); ++index)
        EXPECT_EQ(numbers[index], static_cast<std::int64_t>(index));
}

}  // namespace
}  // namespace quorvane::platform::libav
