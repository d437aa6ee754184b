#include "platform/linux/libav/sound_converter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

#include "platform/linux/libav/libav_error.h"

namespace quorvane::platform::libav {
namespace {

constexpr int mostChannels = 64;
// The resampler takes a correction as so many frames more or less over this many; long, for a fine
// scale, and renewed long before it has passed.
constexpr int compensationDistance = 480000;  // frames

std::int64_t bytesPerSample(PcmSampleKind kind) {
    return kind == PcmSampleKind::int16 ? 2 : 4;
}

AVSampleFormat sampleFormat(const AudioFormat& format) {
    switch (format.sampleKind) {
        case PcmSampleKind::float32:
            return format.interleaved ? AV_SAMPLE_FMT_FLT : AV_SAMPLE_FMT_FLTP;
        case PcmSampleKind::int16:
            return format.interleaved ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_S16P;
        case PcmSampleKind::int32:
            return format.interleaved ? AV_SAMPLE_FMT_S32 : AV_SAMPLE_FMT_S32P;
        case PcmSampleKind::other:
            break;
    }
    return AV_SAMPLE_FMT_NONE;
}

bool sameFormat(const AudioFormat& a, const AudioFormat& b) {
    return a.sampleKind == b.sampleKind && a.sampleRate == b.sampleRate &&
           a.channels == b.channels && a.interleaved == b.interleaved;
}

}  // namespace

SoundConverter::SoundConverter(int sampleRate, int channels)
    : sampleRate_(sampleRate),
      channels_(channels),
      output_(static_cast<std::size_t>(channels)),
      planes_(static_cast<std::size_t>(channels)) {}

bool SoundConverter::understands(const AudioFormat& format) {
    if (!format.isLinearPcm || sampleFormat(format) == AV_SAMPLE_FMT_NONE ||
        format.sampleRate <= 0 || format.channels <= 0 || format.channels > mostChannels)
        return false;
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, format.channels);
    return layout.order == AV_CHANNEL_ORDER_NATIVE;  // else nobody knows which channel is where
}

std::int64_t SoundConverter::frames(const SampleBuffer& buffer) {
    const auto& format = *buffer.audioFormat();
    const auto inData = static_cast<std::int64_t>(buffer.data().size()) /
                        (bytesPerSample(format.sampleKind) * format.channels);
    return std::clamp<std::int64_t>(buffer.sampleCount(), 0, inData);
}

void SoundConverter::configure(const AudioFormat& format) {
    AVChannelLayout in{};
    AVChannelLayout out{};
    av_channel_layout_default(&in, format.channels);
    av_channel_layout_default(&out, channels_);
    SwrContext* allocated = nullptr;
    const int result = swr_alloc_set_opts2(&allocated, &out, AV_SAMPLE_FMT_FLTP, sampleRate_, &in,
                                           sampleFormat(format), format.sampleRate, 0, nullptr);
    resampler_.reset(allocated);
    throwIfError(result, "set up the resampler");
    if (format.channels == 1) {
        // Every channel is as loud as the one there is; the resampler's own way is 3 dB less.
        const std::vector<double> matrix(static_cast<std::size_t>(channels_), 1.0);
        throwIfError(swr_set_matrix(resampler_.get(), matrix.data(), 1), "set up the resampler");
    }
    throwIfError(swr_init(resampler_.get()), "set up the resampler");
    format_ = format;
    stretch_ = 0;
}

void SoundConverter::setStretch(double stretch) {
    if (stretch == 0 && stretch_ == 0) return;
    stretch_ = stretch;
    const auto delta = static_cast<int>(std::lround(stretch * compensationDistance));
    throwIfError(
        swr_set_compensation(resampler_.get(), delta, stretch == 0 ? 0 : compensationDistance),
        "adjust the resampler");
}

void SoundConverter::convert(const SampleBuffer& buffer, std::int64_t leaveOut, double stretch,
                             const Sink& sink) {
    const auto& format = *buffer.audioFormat();
    if (format_ && !sameFormat(*format_, format)) drain(sink);
    if (!format_) configure(format);
    setStretch(stretch);

    const auto all = frames(buffer);
    const auto count = std::min<std::int64_t>(all - leaveOut, std::numeric_limits<int>::max());
    if (count <= 0) return;
    const auto sampleSize = bytesPerSample(format.sampleKind);
    const auto* data = reinterpret_cast<const std::uint8_t*>(buffer.data().data());
    std::array<const std::uint8_t*, mostChannels> input{};
    if (format.interleaved) {
        input[0] = data + leaveOut * sampleSize * format.channels;
    } else {
        // A plane has what the buffer claims to have, however much of it is there.
        for (int channel = 0; channel < format.channels; ++channel)
            input[static_cast<std::size_t>(channel)] =
                data + (channel * all + leaveOut) * sampleSize;
    }
    run(input.data(), static_cast<int>(count), sink);
}

void SoundConverter::drain(const Sink& sink) {
    if (!format_) return;
    run(nullptr, 0, sink);
    // A resampler that has been drained only begins afresh when it is made anew.
    format_.reset();
    resampler_.reset();
    stretch_ = 0;
}

double SoundConverter::delay() const {
    if (!format_) return 0;
    constexpr int fractions = 64;
    return static_cast<double>(
               swr_get_delay(resampler_.get(), std::int64_t{sampleRate_} * fractions)) /
           fractions;
}

void SoundConverter::run(const std::uint8_t** input, int frames, const Sink& sink) {
    const int most = swr_get_out_samples(resampler_.get(), frames);
    throwIfError(most, "resample sound");
    makeRoom(most);
    const int made = swr_convert(resampler_.get(), reinterpret_cast<std::uint8_t**>(planes_.data()),
                                 most, input, frames);
    throwIfError(made, "resample sound");
    if (made > 0) sink(planes_.data(), made);
}

void SoundConverter::makeRoom(int frames) {
    for (std::size_t channel = 0; channel < output_.size(); ++channel) {
        auto& plane = output_[channel];
        if (plane.size() < static_cast<std::size_t>(frames))
            plane.resize(static_cast<std::size_t>(frames));
        planes_[channel] = plane.data();
    }
}

}  // namespace quorvane::platform::libav
