#include "unit/pipewire/captured_sound.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>

#include "unit/pipewire/private_sound_session.h"

namespace quorvane::test {
namespace {

constexpr int channels = 2;

std::chrono::nanoseconds durationOf(std::size_t frames) {
    return std::chrono::nanoseconds(static_cast<std::int64_t>(frames) * 1'000'000'000 / soundRate);
}

}  // namespace

support::MediaTime hostTime() {
    return support::MediaTime(std::chrono::steady_clock::now().time_since_epoch());
}

platform::AudioSource::OnSamples CapturedSound::onSamples() {
    return [this](const platform::SampleBufferPtr& sample) { add(*sample); };
}

void CapturedSound::add(const platform::SampleBuffer& sample) {
    support::MutexLock lock(mutex_);
    const platform::AudioFormat* format = sample.audioFormat();
    const auto start = sample.presentationTime();
    if (!sample.isValid()) faults_ += "invalid; ";
    if (!start) faults_ += "without time; ";
    if (format == nullptr || !format->isLinearPcm || !format->interleaved ||
        format->sampleKind != platform::PcmSampleKind::float32 || format->sampleRate != soundRate ||
        format->channels != channels) {
        faults_ += "of another format; ";
    }
    const auto frames = static_cast<std::size_t>(sample.sampleCount());
    const auto data = sample.data();
    if (frames == 0 || data.size() != frames * channels * sizeof(float)) {
        faults_ += "of the wrong size; ";
        return;
    }
    buffers_.push_back({start.value_or(support::MediaTime()), samples_.size() / channels, frames});
    const std::size_t place = samples_.size();
    samples_.resize(place + frames * channels);
    std::memcpy(&samples_[place], data.data(), data.size());
}

std::size_t CapturedSound::frames() const {
    support::MutexLock lock(mutex_);
    return samples_.size() / channels;
}

bool CapturedSound::waitForFrames(std::size_t count) const {
    return waitUntil([&] { return frames() >= count; });
}

std::optional<std::size_t> CapturedSound::framesOnceQuiet(std::chrono::milliseconds quiet) const {
    std::size_t count = frames();
    auto since = hostTime();
    const bool isQuiet = waitUntil(
        [&] {
            // Before the look at the frames: whatever delays that must not pass for quiet.
            const auto now = hostTime();
            if (const std::size_t latest = frames(); latest != count) {
                count = latest;
                since = hostTime();
            }
            return now - since >= quiet;
        },
        quiet + std::chrono::seconds(5));
    if (!isQuiet) return std::nullopt;
    return count;
}

bool CapturedSound::waitForTime(support::MediaTime time) const {
    return waitUntil([&] {
        const auto end = endTime();
        return end && *end > time;
    });
}

double CapturedSound::amplitude(double frequency, int channel, std::size_t lastFrames) const {
    support::MutexLock lock(mutex_);
    const std::size_t count = samples_.size() / channels;
    if (count < lastFrames) return 0;
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < lastFrames; ++i) {
        const double angle = 2 * std::numbers::pi * frequency * static_cast<double>(i) / soundRate;
        const std::size_t frame = count - lastFrames + i;
        sum += std::polar(1.0, -angle) *
               static_cast<double>(samples_[frame * channels + static_cast<std::size_t>(channel)]);
    }
    return 2 * std::abs(sum) / static_cast<double>(lastFrames);
}

bool CapturedSound::waitForTone(double frequency, double expected, double tolerance,
                                int channel) const {
    return waitUntil(
        [&] { return std::abs(amplitude(frequency, channel) - expected) <= tolerance; });
}

std::optional<support::MediaTime> CapturedSound::firstLoudSample(support::MediaTime from,
                                                                 float threshold) const {
    support::MutexLock lock(mutex_);
    for (const Buffer& buffer : buffers_) {
        for (std::size_t i = 0; i < buffer.frames; ++i) {
            const auto time = buffer.start + durationOf(i);
            if (time < from) continue;
            if (std::abs(samples_[(buffer.firstFrame + i) * channels]) > threshold) return time;
        }
    }
    return std::nullopt;
}

std::chrono::nanoseconds CapturedSound::largestStepSince(std::size_t frame) const {
    support::MutexLock lock(mutex_);
    std::chrono::nanoseconds largest{0};
    for (std::size_t i = 1; i < buffers_.size(); ++i) {
        const Buffer& before = buffers_[i - 1];
        if (before.firstFrame < frame) continue;
        const auto step = buffers_[i].start - (before.start + durationOf(before.frames));
        if (std::chrono::abs(step) > std::chrono::abs(largest)) largest = step;
    }
    return largest;
}

bool CapturedSound::timesNeverGoBack() const {
    support::MutexLock lock(mutex_);
    return std::is_sorted(buffers_.begin(), buffers_.end(),
                          [](const Buffer& a, const Buffer& b) { return a.start < b.start; });
}

std::optional<support::MediaTime> CapturedSound::firstTime() const {
    support::MutexLock lock(mutex_);
    if (buffers_.empty()) return std::nullopt;
    return buffers_.front().start;
}

std::optional<support::MediaTime> CapturedSound::endTime() const {
    support::MutexLock lock(mutex_);
    if (buffers_.empty()) return std::nullopt;
    return buffers_.back().start + durationOf(buffers_.back().frames);
}

std::string CapturedSound::faults() const {
    support::MutexLock lock(mutex_);
    return faults_;
}

}  // namespace quorvane::test
