// How the packets of stretches of sound, each encoded by itself, become one track.
// Why: one AAC encoder keeps one core busy, and it is most of a mix-down's work. A packet of AAC
// depends on little but the 2048 frames that it covers, so that stretches can be encoded at the
// same time. Each begins some packets before its own part, for its encoder to settle; the track
// passes from one stretch to the next where the packets of both have the same window, because
// halves of different windows would not add up to the sound. Units: frames are sample frames; a
// block is the 1024 frames that a packet adds. Packet n covers the blocks n - 1 and n; block 0
// begins the sound. Threads: a value, one thread at a time. Errors: none but lack of memory.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/libav/libav_handles.h"

namespace quorvane::platform::libav {

constexpr std::int64_t framesPerBlock = 1024;
// What a stretch begins before its own part, and how much of this its encoder settles in.
constexpr std::int64_t overlapBlocks = 12;
constexpr std::int64_t settlingBlocks = 4;

struct EncodedSegment {
    std::int64_t number = 0;
    std::int64_t firstPacket = 0;
    bool isLast = false;
    std::vector<PacketPtr> packets;  // in order, none missing
};

// Whether the track may pass from one stretch to another behind these two encodings of one packet.
bool haveSameWindow(const AVPacket& one, const AVPacket& other);

class SegmentJoiner {
  public:
    // The stretches in order. Answers with the packets that are certain now.
    std::vector<PacketPtr> append(EncodedSegment segment);

  private:
    std::optional<EncodedSegment> last_;  // whose end is still open
};

}  // namespace quorvane::platform::libav
