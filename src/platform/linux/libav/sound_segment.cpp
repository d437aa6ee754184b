#include "platform/linux/libav/sound_segment.h"

#include <algorithm>
#include <iterator>
#include <utility>

extern "C" {
#include <libavcodec/packet.h>
}

namespace quorvane::platform::libav {
namespace {

// A packet of AAC begins, for two channels, with
//     3 bits  kind of element: 1 is a pair of channels
//     4 bits  number of the element
//     1 bit   both channels have the same window
//     1 bit   reserved
//     2 bits  sequence of windows
//     1 bit   shape of the window
struct Beginning {
    explicit Beginning(const AVPacket& packet)
        : bits(packet.size < 2 ? 0U : (packet.data[0] << 4U | packet.data[1] >> 4U)) {}
    bool tellsTheWindow() const { return bits >> 9U == 1U && (bits >> 4U & 1U) == 1U; }
    unsigned bits;
};

// Where to pass from one stretch to the next: the packet that is the last of the one before.
std::int64_t lastPacketOf(const EncodedSegment& before, const EncodedSegment& after) {
    const auto at = [](const EncodedSegment& segment, std::int64_t number) -> const AVPacket& {
        return *segment.packets[static_cast<std::size_t>(number - segment.firstPacket)];
    };
    const auto last = before.firstPacket + static_cast<std::int64_t>(before.packets.size()) - 1;
    const auto afterEnd = after.firstPacket + static_cast<std::int64_t>(after.packets.size());
    // The later, the longer the encoder of the later one has settled.
    for (auto number = std::min(last, afterEnd - 1); number >= after.firstPacket + settlingBlocks;
         --number) {
        if (haveSameWindow(at(before, number), at(after, number))) return number;
    }
    return last;
}

}  // namespace

bool haveSameWindow(const AVPacket& one, const AVPacket& other) {
    const Beginning first(one);
    return first.tellsTheWindow() && first.bits == Beginning(other).bits;
}

std::vector<PacketPtr> SegmentJoiner::append(EncodedSegment segment) {
    std::vector<PacketPtr> certain;
    if (last_) {
        const auto pass = lastPacketOf(*last_, segment);
        last_->packets.resize(static_cast<std::size_t>(pass + 1 - last_->firstPacket));
        certain = std::move(last_->packets);
        const auto leaveOut = pass + 1 - segment.firstPacket;
        segment.packets.erase(segment.packets.begin(), segment.packets.begin() + leaveOut);
        segment.firstPacket = pass + 1;
        last_.reset();
    }
    if (segment.isLast) {
        std::move(segment.packets.begin(), segment.packets.end(), std::back_inserter(certain));
        return certain;
    }
    // The last packets wait for the next stretch to say where they are passed on.
    const auto open = std::min<std::size_t>(overlapBlocks, segment.packets.size());
    const auto split = segment.packets.end() - static_cast<std::ptrdiff_t>(open);
    std::move(segment.packets.begin(), split, std::back_inserter(certain));
    segment.firstPacket += split - segment.packets.begin();
    segment.packets.erase(segment.packets.begin(), split);
    last_ = std::move(segment);
    return certain;
}

}  // namespace quorvane::platform::libav
