// Samples that a simulated capture delivers.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/sample_buffer.h"

namespace quorvane::simulation {

// A picture without pixels: the rules never look at them.
class SimPicture final : public platform::SampleBuffer {
  public:
    explicit SimPicture(std::optional<support::MediaTime> time,
                        std::vector<platform::SampleAttachments> attachments =
                            {{static_cast<std::int64_t>(platform::FrameStatus::complete)}})
        : time_(time), attachments_(std::move(attachments)) {}

    bool isValid() const noexcept override { return true; }
    std::optional<support::MediaTime> presentationTime() const noexcept override { return time_; }
    std::int64_t sampleCount() const noexcept override { return 1; }
    std::span<const platform::SampleAttachments> sampleAttachments() const noexcept override {
        return attachments_;
    }
    const platform::Picture* picture() const noexcept override { return &picture_; }

  private:
    std::optional<support::MediaTime> time_;
    std::vector<platform::SampleAttachments> attachments_;
    platform::Picture picture_;
};

// A sound with given bytes; everything about it can be made wrong.
struct SimSound final : public platform::SampleBuffer {
    bool valid = true;
    std::optional<support::MediaTime> time;
    std::int64_t frames = 0;
    std::optional<platform::AudioFormat> format = platform::AudioFormat{};
    std::vector<std::byte> bytes;

    bool isValid() const noexcept override { return valid; }
    std::optional<support::MediaTime> presentationTime() const noexcept override { return time; }
    std::int64_t sampleCount() const noexcept override { return frames; }
    const platform::AudioFormat* audioFormat() const noexcept override {
        return format ? &*format : nullptr;
    }
    std::span<const std::byte> data() const noexcept override { return bytes; }
};

// 48 kHz stereo floats, every sample of that value.
inline std::shared_ptr<SimSound> steadySound(std::optional<support::MediaTime> time, float value,
                                             std::int64_t frames = 480) {
    auto sound = std::make_shared<SimSound>();
    sound->time = time;
    sound->frames = frames;
    const std::vector<float> samples(static_cast<std::size_t>(frames) * 2, value);
    const auto bytes = std::as_bytes(std::span(samples));
    sound->bytes.assign(bytes.begin(), bytes.end());
    return sound;
}

}  // namespace quorvane::simulation
