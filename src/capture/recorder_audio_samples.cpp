#include "capture/recorder_audio_samples.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <vector>

namespace quorvane::capture {
namespace {

constexpr float levelGain = 3.5F;
constexpr float levelCeiling = 1;

std::size_t bytesPerSample(platform::PcmSampleKind kind) {
    return kind == platform::PcmSampleKind::int16 ? 2 : 4;
}

// The samples of one channel: its first byte, and the bytes from one sample to the next.
struct Channel {
    const std::byte* first;
    std::size_t stride;
    std::size_t count;
};

template <class Sample>
double meanSquare(const Channel& channel, double fullScale) {
    double sum = 0;
    for (std::size_t index = 0; index < channel.count; ++index) {
        Sample sample;
        std::memcpy(&sample, channel.first + index * channel.stride, sizeof sample);
        const double normalised = static_cast<double>(sample) / fullScale;
        sum += normalised * normalised;
    }
    return sum / static_cast<double>(channel.count);
}

double rootMeanSquare(const Channel& channel, platform::PcmSampleKind kind) {
    switch (kind) {
        case platform::PcmSampleKind::float32:
            return std::sqrt(meanSquare<float>(channel, 1));
        case platform::PcmSampleKind::int16:
            return std::sqrt(meanSquare<std::int16_t>(channel, 32768));
        case platform::PcmSampleKind::int32:
            return std::sqrt(meanSquare<std::int32_t>(channel, 2147483648.0));
        case platform::PcmSampleKind::other:
            return 0;
    }
    return 0;
}

class SilentSampleBuffer final : public platform::SampleBuffer {
  public:
    SilentSampleBuffer(const platform::SampleBuffer& buffer, const support::MemoryPool& pool)
        : format_(*buffer.audioFormat()),
          presentationTime_(buffer.presentationTime()),
          sampleCount_(buffer.sampleCount()),
          zeros_(buffer.data().size(), std::byte{0}, support::PooledAllocator<std::byte>(pool)) {}

    bool isValid() const noexcept override { return true; }
    std::optional<support::MediaTime> presentationTime() const noexcept override {
        return presentationTime_;
    }
    std::int64_t sampleCount() const noexcept override { return sampleCount_; }
    const platform::AudioFormat* audioFormat() const noexcept override { return &format_; }
    std::span<const std::byte> data() const noexcept override { return zeros_; }

  private:
    platform::AudioFormat format_;
    std::optional<support::MediaTime> presentationTime_;
    std::int64_t sampleCount_;
    std::vector<std::byte, support::PooledAllocator<std::byte>> zeros_;
};

}  // namespace

float RecorderAudioSamples::level(const platform::SampleBuffer& buffer) {
    const auto* format = buffer.audioFormat();
    if (format == nullptr || !format->isLinearPcm || format->channels <= 0) return 0;
    const auto channels = static_cast<std::size_t>(format->channels);
    const auto sampleSize = bytesPerSample(format->sampleKind);
    const auto data = buffer.data();
    if (buffer.sampleCount() <= 0 || buffer.sampleCount() > UINT32_MAX) return 0;
    const auto count = static_cast<std::size_t>(buffer.sampleCount());
    if (data.size() < count * channels * sampleSize) return 0;

    double loudest = 0;
    for (std::size_t index = 0; index < channels; ++index) {
        const auto channel =
            format->interleaved
                ? Channel{data.data() + index * sampleSize, channels * sampleSize, count}
                : Channel{data.data() + index * count * sampleSize, sampleSize, count};
        const double value = rootMeanSquare(channel, format->sampleKind);
        if (std::isfinite(value)) loudest = std::max(loudest, value);
    }
    return std::min(static_cast<float>(loudest) * levelGain, levelCeiling);
}

platform::SampleBufferPtr RecorderAudioSamples::silence(const platform::SampleBuffer& buffer,
                                                        const support::MemoryPool& pool) {
    const auto* format = buffer.audioFormat();
    if (format == nullptr || !format->isLinearPcm || buffer.data().empty()) return nullptr;
    return std::allocate_shared<SilentSampleBuffer>(
        support::PooledAllocator<SilentSampleBuffer>(pool), buffer, pool);
}

}  // namespace quorvane::capture
