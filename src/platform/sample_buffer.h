// One captured picture or one stretch of captured sound, with its time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "support/media_time.h"

namespace quorvane::platform {

// What a picture says of the frame that it belongs to, by the capture service's codes.
enum class FrameStatus : std::int64_t {
    complete = 0,
    idle = 1,
    blank = 2,
    suspended = 3,
    started = 4,
    stopped = 5,
};

// What a capture service says of one sample. The status is what the service wrote there: nothing,
// a whole number (a FrameStatus, or a code unknown to us) or some text.
struct SampleAttachments {
    std::variant<std::monostate, std::int64_t, std::string> status;
};

enum class PcmSampleKind { float32, int16, int32, other };

struct AudioFormat {
    bool isLinearPcm = true;
    PcmSampleKind sampleKind = PcmSampleKind::float32;
    int sampleRate = 48000;  // Hz
    int channels = 2;
    bool interleaved = true;  // else one plane a channel, one after the other
};

// A picture in the encoder's form: planar Y, U, V with 8 bits, chroma at half the size both ways
// (each sample the mean of its 2 by 2 pixels), BT.709 in limited range. Width and height are even.
struct Picture {
    int width = 0;   // pixels
    int height = 0;  // pixels
    std::array<const std::uint8_t*, 3> planes{};
    std::array<int, 3> strides{};  // bytes
};

// Immutable and shared: the holder of the last reference gives the memory back to its pool.
// Threads: any. What it lends lives as long as the buffer.
class SampleBuffer {
  public:
    virtual ~SampleBuffer() = default;
    virtual bool isValid() const noexcept = 0;
    // When it was captured (of sound: its first sample); nothing when the service did not say.
    virtual std::optional<support::MediaTime> presentationTime() const noexcept = 0;
    // Sample frames of sound; 1 for a picture.
    virtual std::int64_t sampleCount() const noexcept = 0;
    virtual std::span<const SampleAttachments> sampleAttachments() const noexcept { return {}; }
    // Null when the buffer has no format description of sound.
    virtual const AudioFormat* audioFormat() const noexcept { return nullptr; }
    // The bytes of sound as the format lays them out; empty when there are none.
    virtual std::span<const std::byte> data() const noexcept { return {}; }
    // Null when the buffer is no picture.
    virtual const Picture* picture() const noexcept { return nullptr; }
};

using SampleBufferPtr = std::shared_ptr<const SampleBuffer>;

}  // namespace quorvane::platform
