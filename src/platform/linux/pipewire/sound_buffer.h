// Sample buffers of sound whose memory is used again.
// Why: a recording makes some fifty buffers a second and source for hours, on a thread that a
// sound server waits for.
// Threads: one thread makes buffers; any may hold or drop them, also after the pool is gone.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <memory_resource>

#include "platform/sample_buffer.h"

namespace quorvane::platform::pipewire {

inline constexpr int soundRate = 48000;  // Hz
inline constexpr int soundChannels = 2;

// Interleaved float32 stereo at 48 kHz. Filled by its maker before it is shared.
class SoundBuffer final : public SampleBuffer {
  public:
    // One AAC packet, and one cycle of the graph as the recorder asks for it.
    static constexpr std::size_t capacity = 1024;  // frames

    float* samples() noexcept { return samples_.data(); }
    void describe(support::MediaTime start, std::size_t frames) noexcept;

    bool isValid() const noexcept override { return true; }
    std::optional<support::MediaTime> presentationTime() const noexcept override { return start_; }
    std::int64_t sampleCount() const noexcept override;
    const AudioFormat* audioFormat() const noexcept override;
    std::span<const std::byte> data() const noexcept override;

  private:
    support::MediaTime start_;
    std::size_t frames_ = 0;
    std::array<float, capacity * soundChannels> samples_;
};

class SoundBufferPool {
  public:
    // New memory comes from upstream, in growing pieces, and stays until pool and buffers are gone.
    explicit SoundBufferPool(
        std::pmr::memory_resource* upstream = std::pmr::get_default_resource());

    // Throws std::bad_alloc.
    std::shared_ptr<SoundBuffer> make();

  private:
    std::shared_ptr<std::pmr::memory_resource> memory_;
};

}  // namespace quorvane::platform::pipewire
